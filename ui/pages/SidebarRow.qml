import QtQuick
import QtQuick.Layouts
import QtQuick.Templates as Templates
import Lingrelay.Controls

/// One section in the sidebar. Tab reaches the selected row, the arrow keys go from row to row.
Templates.ItemDelegate {
    id: row

    property string iconName
    property bool selected

    signal stepped(int by)

    implicitHeight: Theme.sidebarRowHeight
    focusPolicy: selected ? Qt.StrongFocus : Qt.ClickFocus
    hoverEnabled: true
    onSelectedChanged: if (selected && Window.activeFocusItem && Window.activeFocusItem instanceof SidebarRow) forceActiveFocus(Qt.TabFocusReason)
    Keys.onUpPressed: stepped(-1)
    Keys.onDownPressed: stepped(1)
    Accessible.name: text
    Accessible.selectable: true
    Accessible.selected: selected
    Accessible.onPressAction: clicked()

    background: Rectangle {
        radius: Theme.radiusControl
        color: row.selected ? Qt.rgba(Theme.brand.r, Theme.brand.g, Theme.brand.b, 0.14) : row.hovered ? Theme.hover : "transparent"

        FocusRing {
            visible: row.visualFocus
        }
    }
    contentItem: RowLayout {
        spacing: Theme.space2

        Icon {
            Layout.leftMargin: Theme.space3
            name: row.iconName
            color: row.selected ? Theme.brandText : Theme.secondary
        }
        Label {
            Layout.fillWidth: true
            text: row.text
            wrapMode: Text.NoWrap
            elide: Text.ElideRight
            font.weight: row.selected ? Theme.weightStrong : Theme.weightNormal
            Accessible.ignored: true
        }
    }
}
