import QtQuick
import QtQuick.Layouts

/// A setting: what it is at the left, its control at the right, or below it where that leaves the words little room.
/// A control without a `label` of its own is named by the title.
Item {
    id: row

    property string iconName
    property string title
    property string hint
    default property alias control: holder.data

    readonly property Item field: holder.children.length > 0 ? holder.children[0] : null
    readonly property bool first: parent && Array.from(parent.children).find(item => item.visible && item.title !== undefined) === row
    readonly property real indent: iconName.length > 0 ? Theme.indent : Theme.space4
    readonly property bool narrow: width - indent - wanted < Theme.roomForWords
    property real wanted ///< what the control takes when nothing limits it

    function measure() {
        if (!limit.when)
            wanted = field ? field.width : 0;
    }

    Layout.fillWidth: true
    implicitWidth: 320
    implicitHeight: Math.max(Theme.rowHeight, texts.implicitHeight + 2 * texts.margin + (narrow ? holder.height + Theme.space2 : 0), narrow ? 0 : holder.height + Theme.space3)
    Component.onCompleted: {
        measure();
        if (field && field.label === "")
            field.label = Qt.binding(() => title);
    }
    onFieldChanged: measure()

    Connections {
        target: row.field

        function onWidthChanged() {
            row.measure();
        }
    }
    Binding {
        id: limit

        target: row.field
        property: "width"
        value: row.width - row.indent - Theme.space4
        when: row.field && row.width > 0 && row.wanted > row.width - row.indent - Theme.space4
    }
    Rectangle {
        anchors { left: parent.left; right: parent.right; top: parent.top; leftMargin: row.indent }
        visible: !row.first
        height: 1
        color: Theme.cardBorder
    }
    Icon {
        x: Theme.space4
        y: row.narrow ? texts.y : (row.height - height) / 2
        visible: row.iconName.length > 0
        name: row.iconName
        color: row.enabled ? Theme.secondary : Theme.disabled
    }
    Column {
        id: texts

        readonly property int margin: 10

        x: row.indent
        y: row.narrow ? margin : (row.height - height) / 2
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

        x: row.narrow ? row.indent : row.width - width - Theme.space4
        y: row.narrow ? texts.y + texts.height + Theme.space2 : (row.height - height) / 2
        width: row.field ? row.field.width : 0
        height: row.field ? row.field.height : 0
    }
}
