import QtQuick
import QtQuick.Layouts
import QtQuick.Templates as Templates

/// A page: one column, centred, that scrolls; what the keyboard reaches comes into view.
Flickable {
    id: page

    default property alias content: column.data

    readonly property int padding: width < 560 ? Theme.space4 : Theme.space5
    readonly property Item focused: Window.activeFocusItem

    function scroll(by) {
        contentY = Math.max(0, Math.min(contentHeight - height, contentY + by));
    }
    function ensureVisible(item) {
        const place = item.mapToItem(column, 0, 0);
        const top = place.y + column.y - Theme.space4;
        const bottom = place.y + column.y + item.height + Theme.space4;
        if (top < contentY)
            contentY = Math.max(0, top);
        else if (bottom > contentY + height)
            contentY = Math.min(Math.max(0, contentHeight - height), bottom - height);
    }

    contentWidth: width
    contentHeight: column.implicitHeight + 2 * padding
    clip: true
    boundsBehavior: Flickable.StopAtBounds
    Keys.onPressed: event => {
        const steps = ({ [Qt.Key_PageDown]: height * 0.9, [Qt.Key_PageUp]: -height * 0.9, [Qt.Key_Down]: 60, [Qt.Key_Up]: -60 });
        if (!(event.key in steps))
            return;
        scroll(steps[event.key]);
        event.accepted = true;
    }
    onFocusedChanged: {
        for (let item = focused; item; item = item.parent) {
            if (item === column) {
                ensureVisible(focused);
                return;
            }
        }
    }
    Templates.ScrollBar.vertical: ScrollBar {
    }

    ColumnLayout {
        id: column

        x: (page.width - width) / 2
        y: page.padding
        width: Math.min(720, page.width - 2 * page.padding)
        spacing: Theme.space5
    }
}
