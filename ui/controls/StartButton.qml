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
    Keys.onPressed: event => event.accepted = event.isAutoRepeat && event.key === Qt.Key_Space
    Keys.onReleased: event => event.accepted = event.isAutoRepeat && event.key === Qt.Key_Space
    Keys.onReturnPressed: event => event.isAutoRepeat || !enabled || clicked()
    Keys.onEnterPressed: event => event.isAutoRepeat || !enabled || clicked()
    Accessible.role: Accessible.Button
    Accessible.name: text
    Accessible.onPressAction: if (enabled) clicked()

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
                textFormat: Text.PlainText
                font.pixelSize: Theme.fontButton
                font.weight: Font.Bold
                color: button.ink
                Accessible.ignored: true
            }
        }
    }
    background: Rectangle {
        radius: Theme.radiusControl + 2
        color: button.running ? Theme.card : "transparent"
        border.width: button.running ? 1 : 0
        border.color: Theme.track

        // Round ends of plain colour with the gradient between them: rounded gradients have jagged corners when they
        // are drawn in software.
        Rectangle {
            width: 2 * radius
            height: parent.height
            radius: parent.radius
            visible: !button.running
            color: Theme.brandStart
        }
        Rectangle {
            x: parent.width - width
            width: 2 * radius
            height: parent.height
            radius: parent.radius
            visible: !button.running
            color: Theme.brandEnd
        }
        Rectangle {
            id: sweep

            x: parent.radius
            width: parent.width - 2 * parent.radius
            height: parent.height
            visible: !button.running
            gradient: Gradient {
                orientation: Gradient.Horizontal

                GradientStop {
                    position: 0
                    color: Theme.brandStart
                }
                GradientStop {
                    position: Math.max(0, Math.min(1, (row.x + row.width + Theme.space1 - sweep.x) / sweep.width))
                    color: Theme.brandMiddle
                }
                GradientStop {
                    position: 1
                    color: Theme.brandEnd
                }
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
