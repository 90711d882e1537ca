import QtQuick

/// A level from 0 to 1 as a row of bars.
Item {
    id: meter

    property real level
    property color tint: Theme.brandText
    property string label

    readonly property int bars: 20
    property real shown: level

    Behavior on shown {
        NumberAnimation {
            duration: Theme.meterDuration
        }
    }

    implicitWidth: 120
    implicitHeight: 6
    Accessible.role: Accessible.ProgressBar
    Accessible.name: label.length > 0 ? label + ", " + T("signal level", "mức tín hiệu") : T("Signal level", "Mức tín hiệu")
    Accessible.description: Math.round(Math.max(0, Math.min(1, level)) * 100)

    Row {
        objectName: "bars"
        anchors.fill: parent
        spacing: 3

        Repeater {
            model: meter.bars

            Rectangle {
                required property int index

                readonly property bool lit: index / meter.bars < meter.shown

                width: (meter.width - 3 * (meter.bars - 1)) / meter.bars
                height: meter.height
                radius: Math.min(width, height) / 2
                color: lit ? meter.tint : Theme.faint(Theme.secondary, 0.18)
            }
        }
    }
}
