import QtQuick
import QtQuick.Layouts
import Lingrelay.Controls
import Lingrelay.Model

Rectangle {
    id: sidebar

    component Group: ColumnLayout {
        id: group

        required property string title
        required property var sections

        spacing: 2

        Label {
            Layout.leftMargin: Theme.space3
            Layout.bottomMargin: Theme.space1
            kind: Label.Caption
            text: group.title
            color: Theme.secondary
            font.weight: Theme.weightStrong
        }
        Repeater {
            model: group.sections

            SidebarRow {
                required property var modelData

                Layout.fillWidth: true
                text: modelData.text
                iconName: modelData.icon
                selected: Sections.current === modelData.value
                onClicked: Sections.current = modelData.value
                onStepped: by => Sections.step(by)
            }
        }
    }

    color: Theme.sidebar
    Accessible.role: Accessible.Pane
    Accessible.name: T("Sections", "Các mục")

    ColumnLayout {
        anchors.fill: parent
        anchors.margins: Theme.space3
        spacing: Theme.space4

        RowLayout {
            Layout.leftMargin: Theme.space3
            Layout.topMargin: Theme.space2
            spacing: Theme.space2

            Icon {
                name: "waveform-circle-fill"
                color: Theme.brandText
                size: 24
            }
            Label {
                text: "Lingrelay Pro"
                kind: Label.Row
                font.weight: Theme.weightStrong
            }
        }
        Group {
            title: T("Session", "Phiên dịch")
            sections: Sections.session
        }
        Group {
            title: T("Settings", "Cài đặt")
            sections: Sections.settings
        }
        Item {
            Layout.fillHeight: true
        }
        StartButton {
            Layout.fillWidth: true
            running: App.running
            text: App.running ? T("Stop", "Dừng") : T("Start translating", "Bắt đầu dịch")
            onClicked: App.toggleRun()
        }
    }

    Rectangle {
        anchors { top: parent.top; bottom: parent.bottom; right: parent.right }
        width: 1
        color: Theme.cardBorder
    }
}
