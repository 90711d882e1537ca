import QtQuick
import QtQuick.Templates as Templates

/// A value on a track, shown beside it. `value` is bound from outside; `moved` tells what the user asks for.
Item {
    id: root

    property real from
    property real to: 1
    property real step: 0.1
    property real value
    property string valueText
    property string label ///< for assistive technology

    signal moved(real value)

    implicitWidth: 200
    implicitHeight: Theme.controlHeight

    // What the outside did not take shows no longer once the handle is let go.
    function settle() {
        slider.value = Qt.binding(() => value);
    }

    Templates.Slider {
        id: slider

        objectName: "inner"
        anchors { left: parent.left; right: number.left; rightMargin: Theme.space3; verticalCenter: parent.verticalCenter }
        height: 24
        from: root.from
        to: root.to
        stepSize: root.step
        snapMode: Templates.Slider.SnapAlways
        live: true
        value: root.value
        onValueChanged: if (Math.abs(value - Math.max(from, Math.min(to, root.value))) > root.step / 4) root.moved(value)
        onPressedChanged: if (!pressed) root.settle()
        Accessible.name: root.label

        background: Rectangle {
            y: (slider.height - height) / 2
            width: slider.width
            height: 4
            radius: 2
            color: slider.enabled ? Theme.track : Theme.cardBorder

            Rectangle {
                readonly property real zero: root.from < 0 && root.to > 0 ? -root.from / (root.to - root.from) : 0

                x: Math.min(zero, slider.position) * parent.width
                width: Math.abs(slider.position - zero) * parent.width
                height: parent.height
                radius: 2
                color: slider.enabled ? Theme.brandText : Theme.disabled
            }
        }
        handle: Rectangle {
            x: slider.visualPosition * (slider.width - width)
            y: (slider.height - height) / 2
            width: 18
            height: 18
            radius: 9
            color: Theme.brandInk
            border.width: 1.5
            border.color: slider.enabled ? Theme.brandText : Theme.track

            FocusRing {
                visible: slider.visualFocus
            }
        }
    }
    Label {
        id: number

        anchors { right: parent.right; verticalCenter: parent.verticalCenter }
        width: Math.max(implicitWidth, 40)
        horizontalAlignment: Text.AlignRight
        wrapMode: Text.NoWrap
        color: Theme.secondary
        font.family: Theme.digits
        text: root.valueText
    }
}
