import QtQuick

/// A setting that is on or off; a click anywhere on it changes it.
FormRow {
    id: row

    property bool checked

    signal moved(bool on)

    Switch {
        id: toggle

        label: row.title
        checked: row.checked
        onMoved: on => row.moved(on)
        Accessible.description: row.hint
    }
    MouseArea {
        parent: row
        z: -1
        anchors.fill: parent
        onClicked: if (toggle.enabled) toggle.clicked()
    }
}
