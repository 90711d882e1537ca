import QtQuick
import QtQuick.Layouts

/// What stands where nothing is yet, and what to do about it.
ColumnLayout {
    id: empty

    property string iconName
    property string title
    property string hint

    property bool ringed

    /// Instead of what was here until now.
    function takeFocus(reason) {
        ringed = reason === Qt.TabFocusReason;
        words.forceActiveFocus(reason);
    }

    spacing: Theme.space2

    Rectangle {
        Layout.alignment: Qt.AlignHCenter
        Layout.bottomMargin: Theme.space2
        implicitWidth: 64
        implicitHeight: 64
        radius: 32
        color: Theme.faint(Theme.brand, 0.10)

        Icon {
            anchors.centerIn: parent
            name: empty.iconName
            size: 28
            color: Theme.brandText
        }
    }
    Label {
        id: words

        Layout.fillWidth: true
        horizontalAlignment: Text.AlignHCenter
        kind: Label.Row
        font.weight: Theme.weightStrong
        text: empty.title
        Accessible.focusable: true

        FocusRing {
            visible: words.activeFocus && empty.ringed
        }
    }
    Label {
        Layout.fillWidth: true
        horizontalAlignment: Text.AlignHCenter
        color: Theme.secondary
        text: empty.hint
    }
}
