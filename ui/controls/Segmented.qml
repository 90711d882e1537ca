import QtQuick

/// A choice among a few, all in view. `value` is bound from outside; `picked` tells what the user asks for.
FocusScope {
    id: root

    property var model: []
    property var value
    property string label ///< for assistive technology

    readonly property int current: model.findIndex(entry => entry.value === value)
    readonly property var widths: model.map(entry => Math.ceil(metrics.advanceWidth(entry.text)) + 2 * Theme.space3)
    readonly property real spare: model.length > 0 ? (width - 4 - widths.reduce((sum, width) => sum + width, 0)) / model.length : 0

    signal picked(var value)

    function step(by) {
        const next = current + by;
        if (next < 0 || next >= model.length)
            return;
        picked(model[next].value);
        if (repeater.itemAt(current))
            repeater.itemAt(current).forceActiveFocus(Qt.TabFocusReason);
    }

    implicitWidth: widths.reduce((sum, width) => sum + width, 4)
    implicitHeight: Theme.controlHeight
    Accessible.role: Accessible.Grouping
    Accessible.name: label

    FontMetrics {
        id: metrics

        font.pixelSize: Theme.fontBody
        font.weight: Theme.weightStrong
    }
    Rectangle {
        anchors.fill: parent
        radius: Theme.radiusControl
        color: Theme.faint(Theme.text, 0.06)
        border.color: root.enabled ? Theme.track : Theme.cardBorder

        FocusRing {
            visible: root.activeFocus && root.Window.activeFocusItem.visualFocus
        }
    }
    Rectangle {
        readonly property Item segment: repeater.count > 0 && root.current >= 0 ? repeater.itemAt(root.current) : null

        visible: segment !== null
        x: segment ? row.x + segment.x : 0
        y: 2
        width: segment ? segment.width : 0
        height: parent.height - 4
        radius: Theme.radiusControl - 2
        color: root.enabled ? Theme.brand : Theme.pressed

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

            Segment {
                required property var modelData
                required property int index

                objectName: "segment" + (index + 1)
                width: root.widths[index] + root.spare
                height: row.height
                text: modelData.text
                selected: index === root.current
                focusPolicy: selected || activeFocus || (root.current < 0 && index === 0) ? Qt.StrongFocus : Qt.ClickFocus
                onClicked: if (!selected) root.picked(modelData.value)
                Keys.onLeftPressed: root.step(-1)
                Keys.onRightPressed: root.step(1)
            }
        }
    }
}
