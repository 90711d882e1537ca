import QtQuick

/// A setting that is on or off; a click anywhere on it changes it.
FormRow {
    id: row

    property bool checked

    signal moved(bool on)

    Switch {
        id: toggle

        text: row.title
        on: row.checked
        enabled: row.enabled
        onMoved: on => row.moved(on)
        Accessible.description: row.hint
    }
    TapHandler {
        onTapped: toggle.act()
    }
}
