import QtQuick
import QtQuick.Controls.impl

/// One of the program's own drawings. It only goes with words: assistive technology does not see it.
Item {
    id: icon

    property string name
    property int size: 20
    property color color: Theme.text

    implicitWidth: size
    implicitHeight: size
    Accessible.ignored: true

    IconImage {
        anchors.fill: parent
        source: icon.name.length > 0 ? "icons/" + icon.name + ".svg" : ""
        color: icon.color
        sourceSize: Qt.size(icon.size, icon.size)
    }
}
