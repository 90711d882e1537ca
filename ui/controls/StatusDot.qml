import QtQuick

/// A state as a small mark; its shape says the same as its colour.
Item {
    id: dot

    property color color: Theme.disabled
    property string shape: "dot" ///< or "ring", "triangle", "cross"

    implicitWidth: 16
    implicitHeight: 16
    Accessible.ignored: true

    Rectangle {
        anchors.centerIn: parent
        visible: dot.shape === "dot" || dot.shape === "ring"
        width: 10
        height: 10
        radius: 5
        color: dot.shape === "dot" ? dot.color : "transparent"
        border.width: 2
        border.color: dot.color
    }
    Icon {
        anchors.centerIn: parent
        visible: dot.shape === "triangle" || dot.shape === "cross"
        name: dot.shape === "triangle" ? "warning" : "close-circle"
        color: dot.color
        size: 16
    }
}
