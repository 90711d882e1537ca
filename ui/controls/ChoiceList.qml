import QtQuick
import QtQuick.Templates as Templates

/// The entries of a Combo.
ListView {
    id: list

    required property var combo

    implicitHeight: contentHeight
    clip: true
    boundsBehavior: Flickable.StopAtBounds
    highlightMoveDuration: 0
    Accessible.role: Accessible.List
    Accessible.name: combo.label
    Templates.ScrollBar.vertical: ScrollBar {
    }

    delegate: ChoiceRow {
        width: list.width - (list.contentHeight > list.height ? Theme.space3 : 0)
        chosen: modelData.value === list.combo.value
        current: index === list.currentIndex
        onClicked: list.combo.pick(modelData)
        onEntered: list.currentIndex = index
    }
}
