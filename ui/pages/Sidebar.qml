import QtQuick
import QtQuick.Layouts
import Lingrelay.Controls
import Lingrelay.Model

Rectangle {
    id: sidebar

    /// The next row by keyboard, over the groups.
    function step(by) {
        const names = Sections.all.map(section => section.value);
        const next = names.indexOf(Sections.current) + by;
        if (next >= 0 && next < names.length)
            Sections.current = names[next];
    }

    component Group: ColumnLayout {
        id: group

        required property string name
        required property string title

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
            model: Sections.all.filter(section => section.group === group.name)

            SidebarRow {
                required property var modelData

                Layout.fillWidth: true
                text: modelData.text
                iconName: modelData.icon
                selected: Sections.current === modelData.value
                onClicked: Sections.current = modelData.value
                onStepped: by => sidebar.step(by)
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
            name: "session"
            title: T("Session", "Phiên dịch")
        }
        Group {
            name: "settings"
            title: T("Settings", "Cài đặt")
        }
        Item {
            Layout.fillHeight: true
        }
        StartButton {
            Layout.fillWidth: true
            running: App.running
            text: App.running ? T("Stop", "Dừng") : T("Start translating", "Bắt đầu dịch")
            onClicked: App.running ? App.stop() : App.start()
        }
    }

    Rectangle {
        anchors { top: parent.top; bottom: parent.bottom; right: parent.right }
        width: 1
        color: Theme.cardBorder
    }
}
