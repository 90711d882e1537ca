import QtQuick
import QtQuick.Templates as Templates
import "Focus.js" as Focus

/// A few actions in a list that opens below an item or at a point of it, within the window. `items` are {text, iconName,
/// enabled, destructive}.
Templates.Popup {
    id: root

    property var items: []

    readonly property real textWidth: items.reduce((most, entry) => Math.max(most, metrics.advanceWidth(entry.text)), 0)

    property int back ///< the reason for the focus to return: the ring shows again when it was there

    signal picked(int index)

    function popupAt(item) {
        parent = item;
        x = Math.min(0, item.width - width);
        const below = item.Window.height - item.mapToItem(null, 0, item.height).y;
        y = below < height + margins ? -height - Theme.space1 : item.height + Theme.space1;
        open();
    }
    function popupAtPoint(item, left, top) {
        parent = item;
        x = left;
        y = top;
        open();
    }
    function usable(index) {
        return items[index] !== undefined && (items[index].enabled ?? true);
    }
    function pick(index) {
        if (!usable(index))
            return;
        close();
        picked(index);
    }
    function step(by) {
        for (let i = list.currentIndex + by; i >= 0 && i < items.length; i += by) {
            if (usable(i)) {
                list.currentIndex = i;
                return;
            }
        }
    }

    width: Math.min(Math.max(180, textWidth + 72), parent ? parent.Window.width - 2 * margins : 180)
    height: Math.min(list.contentHeight + 2 * padding, parent ? parent.Window.height - 2 * margins : 180)
    padding: 6
    margins: Theme.space2
    focus: true
    closePolicy: Templates.Popup.CloseOnEscape | Templates.Popup.CloseOnPressOutsideParent
    onAboutToShow: {
        back = parent.visualFocus ? Qt.TabFocusReason : Qt.PopupFocusReason;
        list.currentIndex = -1;
        step(1);
    }
    onOpened: list.forceActiveFocus(Qt.PopupFocusReason)
    onClosed: if (parent) Focus.giveBack(parent, back)

    background: PopupSurface {
    }
    contentItem: ListView {
        id: list

        model: root.items
        clip: true
        boundsBehavior: Flickable.StopAtBounds
        highlightMoveDuration: 0
        Keys.onUpPressed: root.step(-1)
        Keys.onDownPressed: root.step(1)
        Keys.onReturnPressed: root.pick(currentIndex)
        Keys.onEnterPressed: root.pick(currentIndex)
        Keys.onSpacePressed: root.pick(currentIndex)
        Accessible.role: Accessible.PopupMenu

        delegate: MenuRow {
            width: list.width
            enabled: root.usable(index)
            current: index === list.currentIndex
            onEntered: list.currentIndex = index
            onClicked: root.pick(index)
        }

        FontMetrics {
            id: metrics

            font.pixelSize: Theme.fontBody
        }
    }
}
