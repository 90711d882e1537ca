import QtQuick
import QtQuick.Layouts
import QtQuick.Templates as Templates

/// One entry of a list of choices.
Templates.ItemDelegate {
    id: row

    required property var modelData
    required property int index
    property bool chosen
    property bool current

    signal entered

    implicitHeight: Theme.entryHeight
    focusPolicy: Qt.NoFocus
    hoverEnabled: true
    text: modelData.text
    onHoveredChanged: if (hovered) entered()
    Accessible.name: text
    Accessible.description: modelData.mark ?? ""
    Accessible.selected: chosen
    Accessible.onPressAction: if (enabled) clicked()

    background: Rectangle {
        radius: Theme.radiusControl - 2
        color: row.current ? Theme.highlight : "transparent"
    }
    contentItem: RowLayout {
        spacing: Theme.space2

        Icon {
            Layout.leftMargin: Theme.space2
            name: "check"
            size: 16
            opacity: row.chosen ? 1 : 0
            color: Theme.brandText
        }
        Text {
            textFormat: Text.PlainText
            Layout.fillWidth: true
            text: row.text
            elide: Text.ElideRight
            font.pixelSize: Theme.fontBody
            color: Theme.text
            Accessible.ignored: true
        }
        Text {
            textFormat: Text.PlainText
            Layout.rightMargin: Theme.space2
            visible: text.length > 0
            text: row.modelData.mark ?? ""
            font.pixelSize: Theme.fontCaption
            color: row.current ? Theme.text : Theme.brandText
            Accessible.ignored: true
        }
    }
}
