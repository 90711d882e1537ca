import QtQuick
import QtQuick.Layouts
import QtQuick.Templates as Templates
import "Focus.js" as Focus

/// A dialog inside the window, with the rest dimmed. Escape closes it; the keyboard stays within and then goes back to
/// where it was. What is taller than the window scrolls.
Templates.Popup {
    id: sheet

    property string title
    property alias footer: foot.data
    default property alias content: body.data
    property Item before ///< had the focus, and gets it back
    property bool ringed

    parent: Templates.Overlay.overlay
    anchors.centerIn: parent
    width: Math.min(Theme.sheetWidth, parent ? parent.width - 2 * Theme.space5 : Theme.sheetWidth)
    height: Math.min(column.implicitHeight + 2 * padding, parent ? parent.height - 2 * Theme.space5 : 400)
    padding: Theme.space5
    modal: true
    focus: true
    dim: true
    closePolicy: Templates.Popup.CloseOnEscape
    onAboutToShow: {
        before = parent.Window.activeFocusItem;
        ringed = before !== null && before.visualFocus === true;
    }
    onClosed: if (before) Focus.giveBack(before, ringed ? Qt.TabFocusReason : Qt.PopupFocusReason)
    onOpened: {
        const first = column.nextItemInFocusChain();
        if (column.Window.activeFocusItem === column && first)
            first.forceActiveFocus(Qt.PopupFocusReason);
    }

    enter: Transition {
        NumberAnimation {
            property: "opacity"
            from: 0
            to: 1
            duration: Theme.duration
            easing.type: Easing.OutCubic
        }
    }
    Templates.Overlay.modal: Rectangle {
        color: Theme.dim
    }
    background: PopupSurface {
        radius: Theme.radiusPanel
    }
    contentItem: ColumnLayout {
        id: column

        focus: true
        spacing: Theme.space4
        Accessible.role: Accessible.Dialog
        Accessible.name: sheet.title

        Label {
            Layout.fillWidth: true
            visible: text.length > 0
            kind: Label.Title
            text: sheet.title
            Accessible.role: Accessible.Heading
        }
        Flickable {
            Layout.fillWidth: true
            Layout.fillHeight: true
            implicitHeight: body.implicitHeight
            contentHeight: body.implicitHeight
            clip: contentHeight > height
            boundsBehavior: Flickable.StopAtBounds
            Templates.ScrollBar.vertical: ScrollBar {
            }

            ColumnLayout {
                id: body

                objectName: "body"
                width: parent.width
                spacing: Theme.space3
            }
        }
        ColumnLayout {
            id: foot

            Layout.fillWidth: true
            Layout.topMargin: Theme.space2
        }
    }
}
