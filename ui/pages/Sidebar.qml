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
                onSelectedChanged: if (selected) list.chosen = this
                Component.onCompleted: if (selected) list.chosen = this
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
        // On a low window the sections scroll, and the run button stays.
        Flickable {
            id: list

            property Item chosen ///< row

            function reveal() {
                const top = chosen ? chosen.mapToItem(contentItem, 0, 0).y : 0;
                if (chosen && height > 0)
                    contentY = Math.max(0, Math.min(top, Math.max(contentY, top + chosen.height - height)));
            }

            Layout.fillWidth: true
            Layout.fillHeight: true
            onChosenChanged: reveal()
            onHeightChanged: reveal()
            onContentHeightChanged: Qt.callLater(reveal)
            contentHeight: groups.implicitHeight
            interactive: contentHeight > height
            clip: interactive // or the rings of rows would be cut
            boundsBehavior: Flickable.StopAtBounds
            ScrollBar.vertical: ScrollBar {
            }

            ColumnLayout {
                id: groups

                width: list.width
                spacing: Theme.space4

                Group {
                    Layout.fillWidth: true
                    title: T("Session", "Phiên dịch")
                    sections: Sections.session
                }
                Group {
                    Layout.fillWidth: true
                    title: T("Settings", "Cài đặt")
                    sections: Sections.settings
                }
            }
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
