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
        Layout.preferredWidth: Math.max(implicitWidth, 96)
        Layout.maximumWidth: row.width / 2
        text: row.label
        wrapMode: Text.NoWrap
        elide: Text.ElideRight
    }
    LevelMeter {
        objectName: "meter"
        Layout.fillWidth: true
        label: row.label
        level: row.level
        tint: row.tint
    }
}
