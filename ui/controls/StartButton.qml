import QtQuick
import QtQuick.Templates as Templates

/// The one large button: starts and stops the translation.
Templates.AbstractButton {
    id: button

    property bool running

    readonly property color ink: running ? Theme.text : Theme.brandInk

    implicitHeight: Theme.rowHeight
    implicitWidth: row.implicitWidth + 2 * Theme.space4
    hoverEnabled: true
    Keys.onReturnPressed: clicked()
    Keys.onEnterPressed: clicked()
    Accessible.role: Accessible.Button
    Accessible.name: text
    Accessible.onPressAction: clicked()

    contentItem: Item {
        Row {
            id: row

            anchors.centerIn: parent
            spacing: Theme.space2

            Icon {
                anchors.verticalCenter: parent.verticalCenter
                name: button.running ? "stop" : "play"
                color: button.running ? Theme.error : Theme.brandInk
            }
            Text {
                anchors.verticalCenter: parent.verticalCenter
                width: Math.min(implicitWidth, button.width - 60)
                elide: Text.ElideRight
                text: button.text
                font.pixelSize: Theme.fontButton
                font.weight: Font.Bold
                color: button.ink
                Accessible.ignored: true
            }
        }
    }
    background: Rectangle {
        radius: Theme.radiusControl + 2
        color: Theme.card
        border.width: button.running ? 1 : 0
        border.color: Theme.track
        gradient: button.running ? null : idle

        Gradient {
            id: idle

            orientation: Gradient.Horizontal

            GradientStop {
                position: 0
                color: Theme.gradientStart
            }
            GradientStop {
                position: 1
                color: Theme.gradientEnd
            }
        }
        Rectangle {
            anchors.fill: parent
            radius: parent.radius
            color: button.running ? (button.down ? Theme.pressed : Theme.hover) : button.down ? Theme.gradientPressed : Theme.gradientHover
            visible: button.hovered || button.down
        }
        FocusRing {
            visible: button.visualFocus
        }
    }
}
