import QtQuick

/// Text that can be marked and copied.
TextEdit {
    id: edit

    property int kind: Label.Body

    color: Theme.text
    font.pixelSize: kind === Label.Row ? Theme.fontRow : kind === Label.Secondary ? Theme.fontCaption : Theme.fontBody
    wrapMode: TextEdit.Wrap
    textFormat: TextEdit.PlainText
    readOnly: true
    selectByMouse: true
    activeFocusOnPress: true
    selectionColor: Theme.brand
    selectedTextColor: Theme.brandInk
    onActiveFocusChanged: if (!activeFocus) deselect()
    Accessible.role: Accessible.StaticText
    Accessible.name: text
}
