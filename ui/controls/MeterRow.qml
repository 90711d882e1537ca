import QtQuick
import QtQuick.Layouts

RowLayout {
    id: row

    property string label
    property string iconName
    property real level
    property color tint

    spacing: Theme.space2

    Icon {
        name: row.iconName
        color: Theme.secondary
    }
    Label {
        text: row.label
        wrapMode: Text.NoWrap
    }
    LevelMeter {
        Layout.fillWidth: true
        label: row.label
        level: row.level
        tint: row.tint
    }
}
