// The floor for the window program: the same toolkit, style, font and size, and nothing in it. With --bare, without
// the style.

#include <QApplication>
#include <QFont>
#include <QQmlApplicationEngine>
#include <QtPlugin>

#include <cstring>

Q_IMPORT_PLUGIN(Lingrelay_ControlsPlugin)

int main(int argc, char** argv)
{
    QApplication application(argc, argv);
    QFont font(QStringLiteral("Inter"));
    font.setPixelSize(13);
    QApplication::setFont(font);
    QQmlApplicationEngine engine;
    engine.addImportPath(QStringLiteral("qrc:/qt/qml"));
    bool const bare = argc > 1 && std::strcmp(argv[1], "--bare") == 0;
    engine.loadData(bare ? "import QtQuick\nWindow { width: 1060; height: 700; visible: true; title: \"Empty\"\n"
                           "Text { anchors.centerIn: parent; text: \"Empty\" } }"
                         : "import QtQuick\nimport QtQuick.Layouts\nimport Lingrelay.Controls\n"
                           "Window { width: 1060; height: 700; visible: true; title: \"Empty\"; color: Theme.window\n"
                           "RowLayout { anchors.fill: parent; Button { text: \"Empty\" } } }");
    return QApplication::exec();
}
