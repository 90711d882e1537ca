import QtQuick
import QtQuick.Layouts
import QtQuick.Templates as Templates
import Lingrelay.Controls

/// A scenario to choose with one press.
Templates.RadioButton {
    id: card

    property string iconName
    property string subtitle
    property bool chosen

    implicitHeight: content.implicitHeight
    checked: chosen
    autoExclusive: false
    onToggled: checked = Qt.binding(() => chosen) // a press does not choose by itself
    hoverEnabled: true
    Accessible.name: text
    Accessible.description: subtitle
    Accessible.onPressAction: clicked()
    Accessible.onToggleAction: clicked()
    Keys.onReturnPressed: event => event.isAutoRepeat || clicked()
    Keys.onEnterPressed: event => event.isAutoRepeat || clicked()

    background: Rectangle {
        radius: Theme.radiusCard
        color: Theme.card
        border.width: card.chosen ? 2 : 1
        border.color: card.chosen ? Theme.brandText : Theme.cardBorder

        Rectangle {
            anchors.fill: parent
            radius: parent.radius
            visible: card.hovered || card.down
            color: Theme.hover
        }
        FocusRing {
            visible: card.visualFocus
        }
    }
    contentItem: ColumnLayout {
        id: content

        spacing: Theme.space1

        RowLayout {
            Layout.leftMargin: Theme.space4
            Layout.rightMargin: Theme.space3
            Layout.topMargin: Theme.space4

            Rectangle {
                Layout.preferredWidth: 36
                Layout.preferredHeight: 36
                radius: 18
                color: Qt.rgba(Theme.brand.r, Theme.brand.g, Theme.brand.b, 0.12)

                Icon {
                    anchors.centerIn: parent
                    name: card.iconName
                    color: Theme.brandText
                }
            }
            Item {
                Layout.fillWidth: true
            }
            Icon {
                Layout.alignment: Qt.AlignTop
                visible: card.chosen
                name: "check-circle"
                color: Theme.brandText
            }
        }
        Label {
            Layout.fillWidth: true
            Layout.leftMargin: Theme.space4
            Layout.rightMargin: Theme.space3
            Layout.topMargin: Theme.space2
            kind: Label.Row
            font.weight: Theme.weightStrong
            text: card.text
            Accessible.ignored: true
        }
        Label {
            Layout.fillWidth: true
            Layout.fillHeight: true
            Layout.leftMargin: Theme.space4
            Layout.rightMargin: Theme.space3
            Layout.bottomMargin: Theme.space4
            verticalAlignment: Text.AlignTop
            kind: Label.Secondary
            text: card.subtitle
            Accessible.ignored: true
        }
    }
}
