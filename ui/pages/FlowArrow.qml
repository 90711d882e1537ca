import QtQuick
import Lingrelay.Controls

/// A dashed line with a head at one end, or at both; its dashes drift while sound flows.
Item {
    id: arrow

    property color tint: Theme.secondary
    property bool flowing
    property bool bidirectional

    implicitHeight: 20
    implicitWidth: 60
    opacity: flowing ? 1 : 0.45
    Accessible.ignored: true

    Behavior on opacity {
        NumberAnimation {
            duration: Theme.duration
        }
    }

    Item {
        anchors { left: parent.left; right: parent.right; verticalCenter: parent.verticalCenter }
        anchors.leftMargin: arrow.bidirectional ? 9 : 0
        anchors.rightMargin: 9
        height: 2
        clip: true

        Bars {
            width: arrow.width + 14
            height: 2
            barWidth: 8
            spacing: 6
            color: arrow.tint

            NumberAnimation on x {
                from: -14
                to: 0
                duration: 700
                loops: Animation.Infinite
                running: arrow.flowing && arrow.visible && !Theme.reducedMotion
            }
        }
    }
    Icon {
        anchors { right: parent.right; verticalCenter: parent.verticalCenter }
        anchors.rightMargin: -4
        name: "chevron-right"
        color: arrow.tint
        size: 18
    }
    Icon {
        anchors { left: parent.left; verticalCenter: parent.verticalCenter }
        anchors.leftMargin: -4
        visible: arrow.bidirectional
        name: "chevron-right"
        rotation: 180
        color: arrow.tint
        size: 18
    }
}
