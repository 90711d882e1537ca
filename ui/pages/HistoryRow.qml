import QtQuick
import QtQuick.Layouts
import QtQuick.Templates as Templates
import Lingrelay.Controls
import Lingrelay.Model

/// An archived session; open, it shows its lines and what can be done with them.
Card {
    id: row

    required property int index
    required property string sessionId
    required property string title
    required property string details
    required property string size

    readonly property bool open: History.selected === sessionId

    function takeFocus(reason) {
        head.forceActiveFocus(reason);
    }

    onIndexChanged: if (head.activeFocus) ListView.view.stop = index

    Templates.ItemDelegate {
        id: head

        Layout.fillWidth: true
        implicitHeight: headRow.implicitHeight + 2 * Theme.space3
        hoverEnabled: true
        activeFocusOnTab: activeFocus || row.ListView.view?.stop === row.index
        onActiveFocusChanged: if (activeFocus) row.ListView.view.stop = row.index
        Accessible.name: row.title
        Accessible.description: row.details + " · " + (row.open ? T("open", "đang mở") : T("closed", "đang đóng"))
        onVisualFocusChanged: if (visualFocus) row.ListView.view.reveal(row.index)
        Accessible.onPressAction: clicked()
        Keys.onReturnPressed: event => event.isAutoRepeat || clicked()
        Keys.onEnterPressed: event => event.isAutoRepeat || clicked()
        Keys.onUpPressed: row.ListView.view.focusRow(row.index - 1, Qt.TabFocusReason)
        Keys.onDownPressed: row.ListView.view.focusRow(row.index + 1, Qt.TabFocusReason)
        onClicked: {
            row.ListView.view.stop = row.index;
            History.toggle(row.sessionId);
        }

        background: Rectangle {
            radius: Theme.radiusCard
            color: head.hovered ? Theme.hover : "transparent"

            FocusRing {
                visible: head.visualFocus
            }
        }
        contentItem: RowLayout {
            id: headRow

            spacing: Theme.space3

            Icon {
                Layout.leftMargin: Theme.space3
                name: row.open ? "chevron-down" : "chevron-right"
                color: Theme.secondary
            }
            ColumnLayout {
                spacing: 2

                Label {
                    Layout.fillWidth: true
                    kind: Label.Row
                    wrapMode: Text.NoWrap
                    elide: Text.ElideRight
                    text: row.title
                    Accessible.ignored: true
                }
                Label {
                    Layout.fillWidth: true
                    kind: Label.Secondary
                    wrapMode: Text.NoWrap
                    elide: Text.ElideRight
                    text: row.details
                    Accessible.ignored: true
                }
            }
            Label {
                Layout.rightMargin: Theme.space4
                color: Theme.secondary
                wrapMode: Text.NoWrap
                font.family: Theme.digits
                text: row.size
            }
        }
    }
    Loader {
        Layout.fillWidth: true
        Layout.topMargin: Theme.space2 // the head's ring
        active: row.open
        visible: active

        sourceComponent: ColumnLayout {
            spacing: Theme.space3

            Flow {
                Layout.fillWidth: true
                Layout.leftMargin: Theme.space4
                Layout.rightMargin: Theme.space4
                spacing: Theme.space2

                Button {
                    iconName: "sparkle"
                    text: History.summarizing ? T("Summarising…", "Đang tóm tắt…") : T("Summarise", "Tóm tắt")
                    enabled: History.ready && !History.summarizing
                    onClicked: History.makeSummary()
                }
                Button {
                    iconName: "copy"
                    text: T("Copy transcript", "Chép biên bản")
                    onClicked: Desktop.copy(History.textOf(row.sessionId))
                }
                Button {
                    id: deleteButton

                    kind: Button.Destructive
                    iconName: "trash"
                    text: T("Delete", "Xoá")
                    onClicked: row.ListView.view.remove(row.index, row.sessionId, deleteButton.visualFocus ? Qt.TabFocusReason : Qt.MouseFocusReason)
                }
            }
            SelectableText {
                Layout.fillWidth: true
                Layout.leftMargin: Theme.space4
                Layout.rightMargin: Theme.space4
                visible: text.length > 0
                text: History.summary
            }
            RowLayout {
                Layout.leftMargin: Theme.space4
                Layout.rightMargin: Theme.space4
                visible: History.summaryError.length > 0
                spacing: Theme.space2

                Icon {
                    name: "error"
                    color: Theme.error
                }
                Label {
                    Layout.fillWidth: true
                    color: Theme.error
                    text: History.summaryError
                }
            }
            LinesView {
                Layout.fillWidth: true
                Layout.preferredHeight: Math.min(contentHeight, 420)
                Layout.leftMargin: Theme.space4
                Layout.rightMargin: Theme.space2
                Layout.bottomMargin: Theme.space3
                lines: History.lines
                name: row.title
            }
        }
    }
}
