import QtQuick

/// Text in one of the sizes of the windows.
Text {
    id: label

    enum Kind { Body, Caption, Row, Title, Number, Secondary }

    property int kind: Label.Body

    color: !enabled ? Theme.disabled : kind === Label.Secondary ? Theme.secondary : Theme.text
    font.pixelSize: Theme.fontSizes[kind]
    font.weight: kind === Label.Title || kind === Label.Number ? Theme.weightStrong : Theme.weightNormal
    wrapMode: Text.Wrap
    textFormat: Text.PlainText
    lineHeight: kind === Label.Title || kind === Label.Number ? 1 : 1.1
    Accessible.role: Accessible.StaticText
    Accessible.name: text
}
