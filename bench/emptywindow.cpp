// The floor for the window program: the same toolkit, font and size, and nothing in it.

#include <QApplication>
#include <QFont>
#include <QQmlApplicationEngine>

int main(int argc, char** argv)
{
    QApplication application(argc, argv);
    QFont font(QStringLiteral("Inter"));
    font.setPixelSize(13);
    QApplication::setFont(font);
    QQmlApplicationEngine engine;
    engine.loadData("import QtQuick\nWindow { width: 1060; height: 700; visible: true; title: \"Empty\"\n"
                    "Text { anchors.centerIn: parent; text: \"Empty\" } }");
    return QApplication::exec();
}
