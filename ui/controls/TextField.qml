import QtQuick
import QtQuick.Templates as Templates

/// A line of text, with a button that empties it; a secure one hides what is written until asked.
Templates.TextField {
    id: field

    property bool clearable: true
    property bool secure
    property bool revealed
    property string leadingIcon
    property string label ///< for assistive technology; without it the place holder

    implicitWidth: 200
    implicitHeight: Theme.controlHeight
    leftPadding: leadingIcon.length > 0 ? 34 : Theme.space3
    rightPadding: (clearButton.visible ? 28 : 0) + (secure ? 28 : 0) + Theme.space2
    font.family: Theme.family
    font.pixelSize: Theme.fontBody
    color: enabled ? Theme.text : Theme.disabled
    placeholderTextColor: Theme.secondary
    selectionColor: Theme.brand
    selectedTextColor: Theme.brandInk
    selectByMouse: true
    verticalAlignment: TextInput.AlignVCenter
    persistentSelection: editMenu.opening || editMenu.open
    onVisibleChanged: if (!visible) revealed = false
    Keys.onPressed: event => editMenu.takeKey(event)
    echoMode: secure && !revealed ? TextInput.Password : TextInput.Normal
    hoverEnabled: true
    Accessible.name: label.length > 0 ? label : placeholderText
    Accessible.description: secure && label.length > 0 ? label : placeholderText // Qt keeps the name of a secret to itself
    Accessible.passwordEdit: secure

    background: Rectangle {
        radius: Theme.radiusControl
        color: Theme.field
        border.width: field.activeFocus ? 2 : 1
        border.color: field.activeFocus ? Theme.focus : field.enabled ? Theme.track : Theme.cardBorder

        Icon {
            anchors { left: parent.left; leftMargin: 10; verticalCenter: parent.verticalCenter }
            visible: field.leadingIcon.length > 0
            name: field.leadingIcon
            color: Theme.secondary
            size: 18
        }
    }

    Text {
        x: field.leftPadding
        width: field.width - field.leftPadding - field.rightPadding
        height: field.height
        verticalAlignment: Text.AlignVCenter
        visible: field.length === 0 && field.preeditText.length === 0
        text: field.placeholderText
        font: field.font
        color: field.placeholderTextColor
        elide: Text.ElideRight
        Accessible.ignored: true
    }
    EditMenu {
        id: editMenu
    }
    Button {
        id: clearButton

        anchors { right: parent.right; rightMargin: 3; verticalCenter: parent.verticalCenter }
        implicitWidth: 26
        implicitHeight: 26
        visible: field.clearable && field.length > 0 && field.enabled && !field.readOnly
        kind: Button.Quiet
        iconName: "close"
        focusPolicy: Qt.NoFocus
        Accessible.name: T("Clear", "Xoá")
        onClicked: {
            field.clear();
            field.textEdited();
        }
    }
    Loader {
        anchors { right: parent.right; rightMargin: clearButton.visible ? 31 : 3; verticalCenter: parent.verticalCenter }
        active: field.secure
        sourceComponent: Button {
            implicitWidth: 26
            implicitHeight: 26
            kind: Button.Quiet
            iconName: field.revealed ? "eye-off" : "eye"
            Accessible.name: field.revealed ? T("Hide", "Ẩn") : T("Show", "Hiện")
            onClicked: field.revealed = !field.revealed
        }
    }
}
