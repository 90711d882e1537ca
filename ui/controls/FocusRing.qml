import QtQuick

/// Shows where the keyboard is: a ring around its parent.
Rectangle {
    anchors.fill: parent
    anchors.margins: -4
    radius: (parent.radius ?? Theme.radiusControl) + 4
    color: "transparent"
    border.width: 2
    border.color: Theme.focus
    Accessible.ignored: true
}
