import QtQuick
import QtQuick.Templates as Templates

/// One of the choices of a Segmented.
Templates.RadioButton {
    id: segment

    property bool selected

    checked: selected
    autoExclusive: false
    onToggled: checked = Qt.binding(() => selected) // a press does not choose by itself
    hoverEnabled: true
    Accessible.name: text
    Accessible.onPressAction: if (enabled) clicked()
    Accessible.onToggleAction: if (enabled) clicked()

    contentItem: Text {
        text: segment.text
        textFormat: Text.PlainText
        horizontalAlignment: Text.AlignHCenter
        verticalAlignment: Text.AlignVCenter
        elide: Text.ElideRight
        font.pixelSize: Theme.fontBody
        font.weight: segment.selected ? Theme.weightStrong : Theme.weightNormal
        color: !segment.enabled ? Theme.disabled : segment.selected ? Theme.brandInk : segment.hovered ? Theme.text : Theme.secondary
        Accessible.ignored: true
    }
}
