import QtQuick
import QtQuick.Layouts

/// Something that the user should know or do, with the button that does it.
Rectangle {
    id: banner

    enum Kind { Info, Warning, Error }

    property int kind: Banner.Info
    property string iconName
    property string title
    property string text
    property string buttonText

    signal clicked

    readonly property color tint: [Theme.brandText, Theme.warning, Theme.error][kind]
    readonly property color wash: [Theme.brand, Theme.listen, Theme.error][kind]

    implicitHeight: row.implicitHeight + 2 * Theme.space3
    radius: Theme.radiusCard
    color: Theme.washed(wash)
    border.color: Theme.faint(wash, 0.45)
    Accessible.role: Accessible.AlertMessage
    Accessible.name: title
    Accessible.description: text

    RowLayout {
        id: row

        anchors { fill: parent; leftMargin: Theme.space4; rightMargin: Theme.space3; topMargin: Theme.space3; bottomMargin: Theme.space3 }
        spacing: Theme.space3

        Icon {
            name: banner.iconName
            color: banner.tint
        }
        ColumnLayout {
            spacing: 2

            Label {
                Layout.fillWidth: true
                font.weight: Theme.weightStrong
                text: banner.title
            }
            Label {
                Layout.fillWidth: true
                visible: text.length > 0
                text: banner.text
            }
        }
        Button {
            visible: text.length > 0
            text: banner.buttonText
            onClicked: banner.clicked()
        }
    }
}
