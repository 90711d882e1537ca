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
    onActiveFocusChanged: if (!activeFocus) deselect()
    Accessible.role: Accessible.StaticText
    Accessible.name: text
}
