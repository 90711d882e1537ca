import QtQuick

/// A state as a small mark; its shape says the same as its colour.
Item {
    id: dot

    enum Shape { Dot, Ring, Triangle, Cross }

    property color color: Theme.disabled
    property int shape: StatusDot.Dot

    implicitWidth: 16
    implicitHeight: 16
    Accessible.ignored: true

    Rectangle {
        anchors.centerIn: parent
        visible: dot.shape === StatusDot.Dot || dot.shape === StatusDot.Ring
        width: 10
        height: 10
        radius: 5
        color: dot.shape === StatusDot.Dot ? dot.color : "transparent"
        border.width: 2
        border.color: dot.color
    }
    Icon {
        anchors.centerIn: parent
        visible: dot.shape === StatusDot.Triangle || dot.shape === StatusDot.Cross
        name: dot.shape === StatusDot.Triangle ? "warning" : "close-circle"
        color: dot.color
        size: 16
    }
}
