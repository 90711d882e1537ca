import QtQuick
import Lingrelay.Controls

/// A level from 0 to 1 as a row of bars.
Item {
    id: meter

    property real level
    property color tint: Theme.brandText
    property string label

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

    Bars {
        objectName: "bars"
        anchors.fill: parent
        count: 20
        spacing: 3
        lit: meter.shown
        litColor: meter.tint
        color: Theme.faint(Theme.secondary, 0.18)
    }
}
