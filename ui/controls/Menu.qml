import QtQuick
import QtQuick.Templates as Templates

/// A few actions in a list that opens below a button.
Templates.Popup {
    id: menu

    property var items: []

    signal picked(int index)

    function popupAt(item) {
        parent = item;
        x = Math.min(0, item.width - width);
        y = item.height + 4;
        open();
    }
    function pick(index) {
        close();
        picked(index);
    }

    width: 200
    padding: 6
    margins: Theme.space2
    focus: true
    closePolicy: Templates.Popup.CloseOnEscape | Templates.Popup.CloseOnPressOutside
    onOpened: {
        list.currentIndex = 0;
        list.forceActiveFocus(Qt.PopupFocusReason);
    }
    onClosed: if (parent) parent.forceActiveFocus(Qt.PopupFocusReason)

    background: Rectangle {
        radius: Theme.radiusControl + 2
        color: Theme.popup
        border.color: Theme.track
    }
    contentItem: ListView {
        id: list

        implicitHeight: contentHeight
        model: menu.items
        highlightMoveDuration: 0
        keyNavigationEnabled: true
        Keys.onReturnPressed: menu.pick(currentIndex)
        Keys.onEnterPressed: menu.pick(currentIndex)
        Keys.onSpacePressed: menu.pick(currentIndex)
        Accessible.role: Accessible.PopupMenu

        delegate: Templates.AbstractButton {
            id: entry

            required property var modelData
            required property int index

            width: list.width
            implicitHeight: 32
            enabled: modelData.enabled ?? true
            focusPolicy: Qt.NoFocus
            hoverEnabled: true
            text: modelData.text
            onHoveredChanged: if (hovered) list.currentIndex = index
            onClicked: menu.pick(index)
            Accessible.role: Accessible.MenuItem
            Accessible.name: text
            Accessible.onPressAction: clicked()

            background: Rectangle {
                radius: 6
                color: entry.index === list.currentIndex ? Theme.faint(Theme.brand, 0.16) : "transparent"
            }
            contentItem: Row {
                leftPadding: Theme.space2
                spacing: Theme.space2

                Icon {
                    anchors.verticalCenter: parent.verticalCenter
                    visible: name.length > 0
                    name: entry.modelData.iconName ?? ""
                    color: Theme.secondary
                    size: 18
                }
                Text {
                    anchors.verticalCenter: parent.verticalCenter
                    text: entry.text
                    font.pixelSize: Theme.fontBody
                    color: !entry.enabled ? Theme.disabled : entry.modelData.destructive ? Theme.error : Theme.text
                    Accessible.ignored: true
                }
            }
        }
    }
}
