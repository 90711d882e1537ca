import QtQuick
import QtQuick.Layouts
import QtQuick.Templates as Templates

/// A page: one column, centred, that scrolls by wheel, keys and touch; what the keyboard reaches comes into view.
Flickable {
    id: page

    default property alias content: column.data

    readonly property int padding: width < Theme.narrowPage ? Theme.space4 : Theme.space5
    readonly property Item focused: Window.activeFocusItem

    function scroll(by) {
        glide.to = Math.max(0, Math.min(contentHeight - height, (glide.running ? glide.to : contentY) + by));
        glide.restart();
    }
    function ensureVisible(item) {
        const top = item.mapToItem(contentItem, 0, 0).y - Theme.space4;
        const bottom = top + item.height + 2 * Theme.space4;
        if (top < contentY)
            scroll(Math.max(0, top) - contentY);
        else if (bottom > contentY + height)
            scroll(bottom - height - contentY);
    }

    contentWidth: width
    contentHeight: column.implicitHeight + 2 * padding
    clip: true
    boundsBehavior: Flickable.StopAtBounds
    interactive: false // dragging with the mouse is for text
    Keys.onPressed: event => {
        const page = height * 0.9;
        const steps = ({ [Qt.Key_PageDown]: page, [Qt.Key_PageUp]: -page, [Qt.Key_Down]: 60, [Qt.Key_Up]: -60, [Qt.Key_Home]: -contentHeight, [Qt.Key_End]: contentHeight });
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
    onHeightChanged: returnToBounds()
    onContentHeightChanged: returnToBounds()
    Templates.ScrollBar.vertical: ScrollBar {
    }

    NumberAnimation {
        id: glide

        target: page
        property: "contentY"
        duration: Theme.duration
        easing.type: Easing.OutCubic
    }
    WheelHandler {
        parent: page
        acceptedDevices: PointerDevice.Mouse | PointerDevice.TouchPad
        onWheel: event => page.scroll(event.pixelDelta.y !== 0 ? -event.pixelDelta.y : -event.angleDelta.y / 2)
    }
    DragHandler {
        property real start

        parent: page
        target: null
        xAxis.enabled: false
        acceptedDevices: PointerDevice.TouchScreen
        onActiveChanged: start = page.contentY
        onActiveTranslationChanged: if (active) page.contentY = Math.max(0, Math.min(page.contentHeight - page.height, start - activeTranslation.y))
    }
    TapHandler {
        parent: page
        onTapped: page.forceActiveFocus() // a click beside the fields leaves them
    }
    ColumnLayout {
        id: column

        x: (page.width - width) / 2
        y: page.padding
        width: Math.min(Theme.pageWidth, page.width - 2 * page.padding)
        spacing: Theme.space5
    }
}
