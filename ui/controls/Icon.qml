import QtQuick
import QtQuick.Controls.impl

/// One of the program's own drawings. It only goes with words: assistive technology does not see it.
IconImage {
    property int size: 20

    source: name.length > 0 ? "icons/" + name + ".svg" : ""
    name: ""
    color: Theme.text
    sourceSize: Qt.size(size, size)
    width: size
    height: size
    Accessible.ignored: true
}
