import QtQuick
import QtQuick.Templates as Templates

/// A thin bar that shows while something scrolls or the pointer is at its edge.
Templates.ScrollBar {
    id: bar

    implicitWidth: 10
    padding: 2
    minimumSize: 0.06
    visible: size < 1
    onPositionChanged: rest.restart()
    onVisibleChanged: rest.restart()
    Accessible.ignored: true

    contentItem: Rectangle {
        implicitWidth: 6
        radius: width / 2
        color: Theme.track
        opacity: bar.pressed ? 0.9 : bar.hovered || rest.running ? 0.6 : 0

        Behavior on opacity {
            NumberAnimation {
                duration: Theme.duration
            }
        }
    }

    Timer {
        id: rest

        interval: 1200
    }
}
