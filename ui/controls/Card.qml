import QtQuick
import QtQuick.Layouts

/// A quiet surface for things that belong together, one below the other.
Rectangle {
    id: card

    property color tint: "transparent"
    property int padding: 0
    default property alias content: column.data

    implicitWidth: column.implicitWidth + 2 * padding
    implicitHeight: column.implicitHeight + 2 * padding
    radius: Theme.radiusCard
    color: Theme.card
    border.color: Theme.cardBorder

    ColumnLayout {
        id: column

        objectName: "column"
        anchors { fill: parent; margins: card.padding }
        spacing: 0
    }
    Rectangle {
        anchors { left: parent.left; top: parent.top; bottom: parent.bottom; topMargin: Theme.space3; bottomMargin: Theme.space3 }
        width: 3
        radius: 1.5
        color: card.tint
    }
}
