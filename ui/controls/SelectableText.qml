import QtQuick

/// Text that can be marked and copied.
TextEdit {
    id: edit

    property int kind: Label.Body

    color: kind === Label.Secondary ? Theme.secondary : Theme.text
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
    onActiveFocusChanged: if (!activeFocus && !persistentSelection) deselect()
    Keys.onPressed: event => editMenu.takeKey(event)
    Accessible.role: Accessible.StaticText
    Accessible.name: text

    EditMenu {
        id: editMenu
    }
}
