import QtQuick
import QtQuick.Layouts
import Lingrelay.Controls
import Lingrelay.Model

Item {
    id: page

    ColumnLayout {
        anchors.centerIn: parent
        width: Math.min(parent.width - 2 * Theme.space5, 480)
        spacing: Theme.space3

        Image {
            Layout.alignment: Qt.AlignHCenter
            source: "qrc:/qt/qml/Lingrelay/Controls/icons/app.svg"
            sourceSize: Qt.size(96, 96)
            Accessible.ignored: true
        }
        Label {
            Layout.fillWidth: true
            horizontalAlignment: Text.AlignHCenter
            kind: Label.Title
            text: "Lingrelay Pro"
        }
        Label {
            Layout.fillWidth: true
            horizontalAlignment: Text.AlignHCenter
            text: T("Real-time speech translation for any call.", "Dịch giọng nói thời gian thực cho mọi cuộc gọi.")
        }
        Label {
            Layout.fillWidth: true
            horizontalAlignment: Text.AlignHCenter
            kind: Label.Secondary
            text: T("Version ", "Phiên bản ") + App.version
        }
    }
}
