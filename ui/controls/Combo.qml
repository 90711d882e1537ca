import QtQuick
import QtQuick.Templates as Templates

/// A choice among many, in a list that opens; over twelve entries it can be searched. `value` is bound from outside;
/// `picked` tells what the user asks for.
Templates.AbstractButton {
    id: combo

    property var model: []
    property var value
    property string label ///< for assistive technology
    property string placeholder
    property string searchPrompt
    property string emptyText

    readonly property alias popup: popup
    readonly property bool searchable: model.length > 12
    readonly property var chosen: model.find(entry => entry.value === value)

    signal picked(var value)

    function pick(entry) {
        popup.close();
        picked(entry.value);
    }

    implicitWidth: 200
    implicitHeight: Theme.controlHeight
    text: chosen ? chosen.text : placeholder
    hoverEnabled: true
    onClicked: popup.opened ? popup.close() : popup.open()
    Keys.onDownPressed: popup.open()
    Keys.onUpPressed: popup.open()
    Keys.onReturnPressed: popup.open()
    Keys.onEnterPressed: popup.open()
    Accessible.role: Accessible.ComboBox
    Accessible.name: label
    Accessible.description: text
    Accessible.onPressAction: if (enabled) popup.open()

    contentItem: Text {
        textFormat: Text.PlainText
        leftPadding: Theme.space3
        rightPadding: 30
        verticalAlignment: Text.AlignVCenter
        elide: Text.ElideRight
        text: combo.text
        font.pixelSize: Theme.fontBody
        color: !combo.enabled ? Theme.disabled : combo.chosen ? Theme.text : Theme.secondary
        Accessible.ignored: true
    }
    background: Rectangle {
        radius: Theme.radiusControl
        color: Theme.field
        border.color: combo.enabled ? Theme.track : Theme.cardBorder

        Rectangle {
            anchors.fill: parent
            radius: parent.radius
            color: Theme.hover
            visible: combo.hovered
        }
        Icon {
            anchors { right: parent.right; rightMargin: 8; verticalCenter: parent.verticalCenter }
            name: "chevron-down"
            color: combo.enabled ? Theme.secondary : Theme.disabled
            size: 16
        }
        FocusRing {
            visible: combo.visualFocus
        }
    }

    ChoicePopup {
        id: popup

        combo: combo
    }
}
