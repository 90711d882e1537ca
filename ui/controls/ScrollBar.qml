import QtQuick
import QtQuick.Templates as Templates

Templates.ScrollBar {
    id: bar

    implicitWidth: 10
    padding: 2
    minimumSize: 0.06
    visible: size < 1
    Accessible.ignored: true

    contentItem: Rectangle {
        implicitWidth: 6
        radius: 3
        color: Theme.track
        opacity: bar.pressed ? 0.9 : bar.hovered || bar.active ? 0.6 : 0.25

        Behavior on opacity {
            NumberAnimation {
                duration: Theme.duration
            }
        }
    }
}
