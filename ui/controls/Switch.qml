import QtQuick
import QtQuick.Templates as Templates

/// On or off. `checked` is bound from outside; a change by the user is told by `moved` and shows when the outside
/// follows.
Templates.AbstractButton {
    id: control

    property bool on

    signal moved(bool on)

    function act() {
        moved(!on);
    }

    implicitWidth: 40
    implicitHeight: 24
    hoverEnabled: true
    onClicked: act()
    Keys.onReturnPressed: act()
    Keys.onEnterPressed: act()
    Accessible.role: Accessible.CheckBox
    Accessible.name: text
    Accessible.checkable: true
    Accessible.checked: on
    Accessible.onToggleAction: act()
    Accessible.onPressAction: act()

    background: Rectangle {
        radius: height / 2
        color: control.on ? (control.enabled ? Theme.brand : Theme.disabled) : "transparent"
        border.width: control.on ? 0 : 1.5
        border.color: control.enabled ? Theme.track : Theme.disabled

        Behavior on color {
            ColorAnimation {
                duration: Theme.duration
            }
        }
        Rectangle {
            y: (parent.height - height) / 2
            x: control.on ? parent.width - width - 3 : 3
            width: control.on ? 18 : 14
            height: width
            radius: width / 2
            color: control.on ? Theme.brandInk : Theme.track

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
