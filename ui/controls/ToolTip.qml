import QtQuick
import QtQuick.Templates as Templates

Templates.ToolTip {
    id: tip

    x: parent ? Math.round((parent.width - implicitWidth) / 2) : 0
    y: parent ? parent.height + 6 : 0
    implicitWidth: Math.min(contentItem.implicitWidth + 2 * Theme.space2, 320)
    implicitHeight: contentItem.implicitHeight + 2 * 6
    leftPadding: Theme.space2
    rightPadding: Theme.space2
    topPadding: 6
    bottomPadding: 6
    margins: Theme.space2
    delay: 500
    closePolicy: Templates.Popup.CloseOnEscape | Templates.Popup.CloseOnPressOutsideParent

    contentItem: Text {
        textFormat: Text.PlainText
        text: tip.text
        wrapMode: Text.Wrap
        font.pixelSize: Theme.fontCaption
        color: Theme.text
    }
    background: Rectangle {
        radius: 6
        color: Theme.popup
        border.color: Theme.track
    }
}
