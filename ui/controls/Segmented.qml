import QtQuick
import QtQuick.Templates as Templates

/// A choice among a few, all in view. `value` is bound from outside; `picked` tells what the user asks for.
FocusScope {
    id: root

    property var model: []
    property var value
    property string label ///< for assistive technology

    readonly property int current: model.findIndex(entry => entry.value === value)

    signal picked(var value)

    function step(by) {
        const next = current + by;
        if (next < 0 || next >= model.length)
            return;
        picked(model[next].value);
        if (repeater.itemAt(current))
            repeater.itemAt(current).forceActiveFocus(Qt.TabFocusReason);
    }

    implicitWidth: row.implicitWidth + 4
    implicitHeight: Theme.controlHeight
    Accessible.role: Accessible.Grouping
    Accessible.name: label

    Rectangle {
        anchors.fill: parent
        radius: Theme.radiusControl
        color: Theme.faint(Theme.text, 0.06)
        border.color: Theme.cardBorder
    }
    Rectangle {
        readonly property Item segment: repeater.count > 0 && root.current >= 0 ? repeater.itemAt(root.current) : null

        visible: segment !== null
        x: segment ? row.x + segment.x : 0
        y: 2
        width: segment ? segment.width : 0
        height: parent.height - 4
        radius: Theme.radiusControl - 2
        color: Theme.brand

        Behavior on x {
            NumberAnimation {
                duration: Theme.duration
                easing.type: Easing.OutCubic
            }
        }
    }
    Row {
        id: row

        x: 2
        height: parent.height

        Repeater {
            id: repeater

            model: root.model

            Templates.AbstractButton {
                id: segment

                required property var modelData
                required property int index

                readonly property bool selected: index === root.current

                width: label.implicitWidth + 2 * Theme.space3
                height: row.height
                hoverEnabled: true
                focusPolicy: selected || (root.current < 0 && index === 0) ? Qt.StrongFocus : Qt.ClickFocus
                text: modelData.text
                onClicked: root.picked(modelData.value)
                Keys.onLeftPressed: root.step(-1)
                Keys.onRightPressed: root.step(1)
                Accessible.role: Accessible.RadioButton
                Accessible.name: text
                Accessible.checkable: true
                Accessible.checked: selected
                Accessible.onPressAction: clicked()
                Accessible.onToggleAction: clicked()

                contentItem: Text {
                    id: label

                    text: segment.text
                    horizontalAlignment: Text.AlignHCenter
                    verticalAlignment: Text.AlignVCenter
                    font.pixelSize: Theme.fontBody
                    font.weight: segment.selected ? Theme.weightStrong : Theme.weightNormal
                    color: segment.selected ? Theme.brandInk : segment.hovered ? Theme.text : Theme.secondary
                    Accessible.ignored: true
                }
                background: Item {
                    FocusRing {
                        anchors.margins: -1
                        visible: segment.visualFocus
                    }
                }
            }
        }
    }
}
