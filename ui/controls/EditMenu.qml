import QtQuick
import QtQuick.Templates as Templates

/// What can be done with a text: a menu by the right button or the menu key. Lies in the TextInput or TextEdit.
Item {
    id: root

    readonly property Item edit: parent
    readonly property bool open: loader.item !== null && (loader.item as Menu).visible
    property bool opening ///< the text must keep what is marked while the menu takes the focus

    readonly property bool secret: edit.echoMode !== undefined && edit.echoMode !== TextInput.Normal
    readonly property var actions: {
        const marked = edit.selectedText.length > 0 && !secret;
        const all = [{
                text: T("Undo", "Hoàn tác"),
                enabled: edit.canUndo,
                run: () => edit.undo()
            }, {
                text: T("Redo", "Làm lại"),
                enabled: edit.canRedo,
                run: () => edit.redo()
            }, {
                text: T("Cut", "Cắt"),
                enabled: marked,
                run: () => edit.cut()
            }, {
                text: T("Copy", "Chép"),
                enabled: marked,
                run: () => edit.copy()
            }, {
                text: T("Paste", "Dán"),
                enabled: edit.canPaste,
                run: () => edit.paste()
            }, {
                text: T("Select All", "Chọn tất cả"),
                enabled: edit.length > 0,
                run: () => edit.selectAll()
            }];
        return edit.readOnly ? [all[3], all[5]] : all;
    }

    function show(x, y) {
        if (!edit.activeFocus)
            edit.forceActiveFocus(Qt.MouseFocusReason);
        opening = true;
        loader.active = true;
        const menu = loader.item as Menu;
        menu.items = actions;
        menu.popupAtPoint(edit, x, y);
        opening = false;
    }
    /// To be asked with every key.
    function takeKey(event) {
        const wanted = event.key === Qt.Key_Menu || (event.key === Qt.Key_F10 && event.modifiers === Qt.ShiftModifier);
        event.accepted = wanted;
        if (wanted)
            show(edit.cursorRectangle.x, edit.cursorRectangle.y + edit.cursorRectangle.height);
    }

    anchors.fill: parent

    TapHandler {
        acceptedButtons: Qt.RightButton
        onTapped: point => root.show(point.position.x, point.position.y)
    }
    Loader {
        id: loader

        active: false

        sourceComponent: Menu {
            closePolicy: Templates.Popup.CloseOnEscape | Templates.Popup.CloseOnPressOutside
            onPicked: index => items[index].run()
        }
    }
}
