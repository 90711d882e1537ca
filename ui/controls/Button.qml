import QtQuick
import QtQuick.Templates as Templates

Templates.Button {
    id: button

    enum Kind { Plain, Filled, Destructive, Quiet }

    property int kind: Button.Plain
    property string iconName
    property string toolTip

    readonly property real iconRoom: iconName.length === 0 ? 0 : text.length === 0 ? 18 : 18 + row.spacing
    readonly property color ink: !enabled ? Theme.disabled : kind === Button.Filled ? Theme.brandInk : kind === Button.Destructive ? Theme.error : Theme.text

    implicitWidth: Math.max(Theme.controlHeight, Math.ceil(label.implicitWidth) + iconRoom + leftPadding + rightPadding)
    implicitHeight: Theme.controlHeight
    leftPadding: text.length > 0 ? Theme.space3 : 6
    rightPadding: leftPadding
    font.family: Theme.family
    font.pixelSize: Theme.fontBody
    font.weight: kind === Button.Filled ? Theme.weightStrong : Theme.weightNormal
    hoverEnabled: true
    Keys.onPressed: event => event.accepted = event.isAutoRepeat && event.key === Qt.Key_Space
    Keys.onReleased: event => event.accepted = event.isAutoRepeat && event.key === Qt.Key_Space
    Keys.onReturnPressed: event => event.isAutoRepeat || !enabled || clicked()
    Keys.onEnterPressed: event => event.isAutoRepeat || !enabled || clicked()
    Accessible.role: Accessible.Button
    Accessible.name: text.length > 0 ? text : toolTip
    Accessible.onPressAction: if (enabled) clicked()

    contentItem: Item {
        Row {
            id: row

            anchors.centerIn: parent
            spacing: 6

            Icon {
                anchors.verticalCenter: parent.verticalCenter
                visible: button.iconName.length > 0
                name: button.iconName
                color: button.ink
                size: 18
            }
            Text {
                id: label

                anchors.verticalCenter: parent.verticalCenter
                width: Math.min(Math.ceil(implicitWidth), button.availableWidth - button.iconRoom)
                visible: text.length > 0
                text: button.text
                textFormat: Text.PlainText
                elide: Text.ElideRight
                font: button.font
                color: button.ink
                Accessible.ignored: true
            }
        }
    }
    background: Rectangle {
        radius: Theme.radiusControl
        color: button.kind === Button.Filled ? (!button.enabled ? Theme.pressed : button.down ? Theme.brandPressed : Theme.brand) : button.kind === Button.Quiet ? "transparent" : Theme.card
        border.width: button.kind === Button.Plain || button.kind === Button.Destructive ? 1 : 0
        border.color: button.enabled ? Theme.track : Theme.cardBorder

        Rectangle {
            anchors.fill: parent
            radius: parent.radius
            color: !button.down ? Theme.hover : button.kind === Button.Destructive ? Theme.pressedError : Theme.pressed
            visible: button.enabled && (button.hovered || button.down) && (button.kind !== Button.Filled || !button.down)
        }
        FocusRing {
            visible: button.visualFocus
        }
    }

    // Made when it is needed: most never are.
    Loader {
        id: tip

        readonly property string words: button.toolTip.length > 0 ? button.toolTip : label.truncated ? button.text : ""

        active: words.length > 0 && (button.hovered || button.visualFocus)
        sourceComponent: ToolTip {
            parent: button
            text: tip.words
            visible: true
        }
    }
}
