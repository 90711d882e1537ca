import QtQuick
import QtQuick.Templates as Templates

/// One action of a Menu.
Templates.MenuItem {
    id: entry

    required property var modelData
    required property int index
    property bool current

    signal entered

    readonly property color ink: !enabled ? Theme.disabled : modelData.destructive ? Theme.error : Theme.text

    implicitHeight: Theme.entryHeight
    focusPolicy: Qt.NoFocus
    hoverEnabled: true
    text: modelData.text
    onHoveredChanged: if (hovered) entered()
    Accessible.name: text
    Accessible.onPressAction: if (enabled) clicked()

    background: Rectangle {
        radius: Theme.radiusControl - 2
        color: entry.current ? Theme.highlight : "transparent"
    }
    contentItem: Item {
        Icon {
            x: Theme.space2
            anchors.verticalCenter: parent.verticalCenter
            name: entry.modelData.iconName ?? ""
            color: entry.enabled && !entry.modelData.destructive ? Theme.secondary : entry.ink
            size: 18
        }
        Text {
            anchors { left: parent.left; right: parent.right; leftMargin: entry.modelData.iconName ? 34 : Theme.space2; rightMargin: Theme.space2; verticalCenter: parent.verticalCenter }
            text: entry.text
            textFormat: Text.PlainText
            elide: Text.ElideRight
            font.pixelSize: Theme.fontBody
            color: entry.current && entry.enabled ? Theme.text : entry.ink
            Accessible.ignored: true
        }
    }
}
