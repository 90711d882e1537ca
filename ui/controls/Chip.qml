import QtQuick

/// A word in a rounded box that can be taken away.
Rectangle {
    id: chip

    property string text
    property bool removable

    signal removed

    implicitWidth: row.implicitWidth + Theme.space3 + (removable ? 4 : Theme.space3)
    implicitHeight: 28
    radius: height / 2
    color: Theme.chip

    Row {
        id: row

        x: Theme.space3
        height: parent.height
        spacing: 2

        Label {
            anchors.verticalCenter: parent.verticalCenter
            wrapMode: Text.NoWrap
            text: chip.text
        }
        Button {
            anchors.verticalCenter: parent.verticalCenter
            visible: chip.removable
            implicitWidth: 24
            implicitHeight: 24
            kind: Button.Quiet
            iconName: "close"
            Accessible.name: T("Remove ", "Bỏ ") + chip.text
            onClicked: chip.removed()
        }
    }
}
