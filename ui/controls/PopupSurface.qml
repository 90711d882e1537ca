import QtQuick

/// What opens above the page lies on this: a plain surface with a soft shadow, made of a few faint layers.
Item {
    id: root

    property real radius: Theme.radiusControl + 2

    Repeater {
        model: 7

        Rectangle {
            required property int index

            anchors { fill: parent; margins: -index; topMargin: 3 - index; bottomMargin: -3 - index }
            radius: root.radius + index
            color: Theme.shadow
        }
    }
    Rectangle {
        anchors.fill: parent
        radius: root.radius
        color: Theme.popup
        border.color: Theme.popupBorder
    }
}
