import QtQuick
import QtQuick.Templates as Templates

/// Text that can be marked and copied.
Templates.TextArea {
    id: edit

    property int kind: Label.Body
    property bool visualFocus ///< the keyboard is here, and the keyboard has brought it

    function noteFocus() {
        visualFocus = activeFocus && (focusReason === Qt.TabFocusReason || focusReason === Qt.BacktabFocusReason);
    }

    implicitWidth: contentWidth
    implicitHeight: contentHeight
    color: kind === Label.Secondary ? Theme.secondary : Theme.text
    font.family: Theme.family
    font.weight: kind === Label.Title || kind === Label.Number ? Theme.weightStrong : Theme.weightNormal
    font.pixelSize: Theme.fontSizes[kind]
    wrapMode: TextEdit.Wrap
    textFormat: TextEdit.PlainText
    readOnly: true
    selectByMouse: true
    selectByKeyboard: true
    activeFocusOnTab: true
    selectionColor: Theme.brand
    selectedTextColor: Theme.brandInk
    persistentSelection: editMenu.opening || editMenu.open
    onFocusReasonChanged: noteFocus()
    onActiveFocusChanged: {
        noteFocus();
        if (!activeFocus && !persistentSelection)
            deselect();
    }
    Keys.onPressed: event => editMenu.takeKey(event)
    Accessible.role: Accessible.StaticText
    Accessible.name: text

    FocusRing {
        visible: edit.visualFocus
    }
    EditMenu {
        id: editMenu
    }
}
