import QtQuick
import QtQuick.Layouts
import Lingrelay.Controls
import Lingrelay.Model

/// How the user's voice reaches the other side: the user, the translation, the virtual microphone, the call.
Card {
    id: picture

    component Node: ColumnLayout {
        id: node

        property string iconName
        property string title
        property string detail

        Layout.fillWidth: true
        Layout.preferredWidth: 1
        Layout.alignment: Qt.AlignTop
        spacing: Theme.space1

        Rectangle {
            Layout.alignment: Qt.AlignHCenter
            implicitWidth: 48
            implicitHeight: 48
            radius: 24
            color: Qt.rgba(Theme.speak.r, Theme.speak.g, Theme.speak.b, 0.14)

            Icon {
                anchors.centerIn: parent
                name: node.iconName
                color: Theme.speakText
                size: 24
            }
        }
        Label {
            Layout.fillWidth: true
            Layout.topMargin: Theme.space1
            horizontalAlignment: Text.AlignHCenter
            font.weight: Theme.weightStrong
            text: node.title
        }
        Label {
            Layout.fillWidth: true
            horizontalAlignment: Text.AlignHCenter
            kind: Label.Secondary
            maximumLineCount: 3
            elide: Text.ElideRight
            text: node.detail
        }
    }
    component Arrow: FlowArrow {
        Layout.preferredWidth: picture.width < 560 ? 28 : 48 // no word of the nodes is broken
        Layout.alignment: Qt.AlignTop
        Layout.topMargin: 14
        tint: Theme.speakText
        flowing: App.speakLane.flowing
    }

    RowLayout {
        Layout.fillWidth: true
        Layout.margins: Theme.space5
        spacing: Theme.space2

        Node {
            iconName: "mic"
            title: T("You", "Bạn")
            detail: App.microphoneName
        }
        Arrow {
        }
        Node {
            iconName: "translate"
            title: T("Translation", "Bản dịch")
            detail: App.speakLane.languages
        }
        Arrow {
        }
        Node {
            iconName: "virtual-mic"
            title: "Lingrelay"
            detail: App.virtualInstalled ? App.speakOutputName : T("not installed", "chưa cài")
        }
        Arrow {
        }
        Node {
            iconName: "call"
            title: T("Call app", "App gọi")
            detail: T("selected in app", "chọn trong app gọi")
        }
    }
}
