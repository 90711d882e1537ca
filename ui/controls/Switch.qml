import QtQuick
import QtQuick.Templates as Templates

/// On or off. `checked` is bound from outside; a change by the user, or by assistive technology, is told by `moved` and
/// shows when the outside follows.
Templates.CheckBox {
    id: control

    property string label ///< for assistive technology

    signal moved(bool on)

    // What a press comes to is the outside's to say, or the two would drift apart.
    nextCheckState: () => checkState
    onClicked: moved(!checked)
    implicitWidth: 40
    implicitHeight: 24
    focusPolicy: Qt.TabFocus
    Keys.onPressed: event => event.accepted = event.isAutoRepeat && event.key === Qt.Key_Space
    Keys.onReleased: event => event.accepted = event.isAutoRepeat && event.key === Qt.Key_Space
    Keys.onReturnPressed: event => event.isAutoRepeat || clicked()
    Keys.onEnterPressed: event => event.isAutoRepeat || clicked()
    Accessible.name: label
    Accessible.onToggleAction: if (enabled) clicked()
    Accessible.onPressAction: if (enabled) clicked()

    background: Rectangle {
        radius: height / 2
        color: !control.checked ? "transparent" : control.enabled ? Theme.brand : Theme.disabled
        border.width: control.checked ? 0 : 1.5
        border.color: control.enabled ? Theme.track : Theme.disabled

        Behavior on color {
            ColorAnimation {
                duration: Theme.duration
            }
        }
        Rectangle {
            anchors.verticalCenter: parent.verticalCenter
            x: control.checked ? parent.width - width - 3 : (parent.height - width) / 2
            width: control.checked ? 18 : 14
            height: width
            radius: width / 2
            color: control.checked ? Theme.brandInk : control.enabled ? Theme.track : Theme.disabled

            Behavior on x {
                NumberAnimation {
                    duration: Theme.duration
                    easing.type: Easing.OutCubic
                }
            }
        }
        FocusRing {
            visible: control.visualFocus
        }
    }
}
