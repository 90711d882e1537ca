import QtQuick
import QtQuick.Layouts

/// A setting: what it is at the left, its control at the right, or below it where there is little room.
Item {
    id: row

    property string iconName
    property string title
    property string hint
    default property alias control: holder.data

    readonly property Item field: holder.children.length > 0 ? holder.children[0] : null
    readonly property bool narrow: field && width - field.width < 200
    readonly property bool first: parent && Array.from(parent.children).find(item => item.visible && item.title !== undefined) === row

    Layout.fillWidth: true
    implicitWidth: 320
    implicitHeight: Math.max(Theme.rowHeight, texts.implicitHeight + 2 * 10 + (narrow ? holder.height + Theme.space2 : 0), narrow ? 0 : holder.height + 12)
    onFieldChanged: {
        if (field && field.label === "")
            field.label = Qt.binding(() => row.title);
    }

    Rectangle {
        anchors { left: parent.left; right: parent.right; top: parent.top; leftMargin: row.iconName.length > 0 ? 48 : Theme.space4 }
        visible: !row.first
        height: 1
        color: Theme.cardBorder
    }
    Icon {
        x: Theme.space4
        y: row.narrow ? 12 : (row.height - height) / 2
        visible: row.iconName.length > 0
        name: row.iconName
        color: Theme.secondary
    }
    Column {
        id: texts

        x: row.iconName.length > 0 ? 48 : Theme.space4
        y: row.narrow ? 10 : (row.height - height) / 2
        width: row.width - x - (row.narrow ? Theme.space4 : holder.width + Theme.space4 + Theme.space3)
        spacing: 2

        Label {
            width: parent.width
            text: row.title
        }
        Label {
            width: parent.width
            visible: text.length > 0
            kind: Label.Secondary
            text: row.hint
        }
    }
    Item {
        id: holder

        x: row.narrow ? texts.x : row.width - width - Theme.space4
        y: row.narrow ? texts.y + texts.height + Theme.space2 : (row.height - height) / 2
        width: Math.min(childrenRect.width, row.width - (row.narrow ? texts.x : 0) - Theme.space4)
        height: childrenRect.height
    }
}
