import QtQuick
import QtQuick.Layouts
import Lingrelay.Controls
import Lingrelay.Model

/// The section's title and the state of the run.
Item {
    id: toolbar

    implicitHeight: 56

    RowLayout {
        anchors { fill: parent; leftMargin: Theme.space5; rightMargin: Theme.space5 }
        spacing: Theme.space3

        Label {
            text: Sections.title
            kind: Label.Title
            wrapMode: Text.NoWrap
            Accessible.role: Accessible.Heading
        }
        Item {
            Layout.fillWidth: true
        }
        StatusDot {
            color: Theme[App.statusColour]
            shape: App.statusShape
        }
        Label {
            id: status

            Layout.fillWidth: true
            Layout.maximumWidth: Math.ceil(implicitWidth)
            maximumLineCount: 1
            wrapMode: Text.NoWrap
            elide: Text.ElideRight
            text: App.statusText
            color: Theme[App.statusTextColour]
            Accessible.description: T("State of the translation", "Trạng thái dịch")

            HoverHandler {
                id: overStatus
            }
            Loader {
                active: overStatus.hovered && status.truncated
                sourceComponent: ToolTip {
                    parent: status
                    text: status.text
                    visible: true
                }
            }
        }
        Loader {
            Layout.preferredWidth: 60
            visible: active
            active: App.running
            sourceComponent: Label {
                text: App.elapsed
                color: Theme.secondary
                wrapMode: Text.NoWrap
                font.family: Theme.digits
                Accessible.description: T("Time since the start", "Thời gian từ lúc bắt đầu")
            }
        }
        Label {
            visible: text.length > 0
            text: App.balance
            color: Theme.secondary
            wrapMode: Text.NoWrap
            Accessible.description: T("Service time", "Thời gian dịch vụ")
        }
    }
    Rectangle {
        anchors { left: parent.left; right: parent.right; bottom: parent.bottom }
        height: 1
        color: Theme.cardBorder
    }
}
