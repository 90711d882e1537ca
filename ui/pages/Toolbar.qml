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
            readonly property var colours: ({
                    idle: Theme.disabled,
                    connecting: Theme.brandText,
                    live: Theme.good,
                    warning: Theme.warning,
                    error: Theme.error
                })
            readonly property var shapes: ({
                    idle: StatusDot.Ring,
                    connecting: StatusDot.Ring,
                    live: StatusDot.Dot,
                    warning: StatusDot.Triangle,
                    error: StatusDot.Cross
                })

            color: colours[App.statusKind] ?? Theme.disabled
            shape: shapes[App.statusKind] ?? StatusDot.Ring
        }
        Label {
            id: status

            Layout.fillWidth: true
            Layout.maximumWidth: Math.ceil(implicitWidth)
            maximumLineCount: 1
            wrapMode: Text.NoWrap
            elide: Text.ElideRight
            text: App.statusText.replace(/^● /, "") // its dot is drawn beside it
            color: App.statusKind === "error" ? Theme.error : App.statusKind === "warning" ? Theme.warning : Theme.text
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
        Label {
            visible: App.running
            text: App.elapsed
            color: Theme.secondary
            wrapMode: Text.NoWrap
            font.family: Theme.digits
            Layout.preferredWidth: 60
            Accessible.description: T("Time since the start", "Thời gian từ lúc bắt đầu")
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
