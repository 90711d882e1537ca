import QtQuick
import QtQuick.Templates as Templates
import Lingrelay.Controls

/// The entries of a Combo. Letters go to the next one that begins with them.
ListView {
    id: list

    required property var combo
    property string typed

    function step(by) {
        currentIndex = Math.max(0, Math.min(count - 1, currentIndex + by));
    }
    function type(text) {
        if (text.trim().length === 0)
            return;
        typed = (pause.running ? typed : "") + text;
        pause.restart();
        const first = typed.length > 1 ? currentIndex : currentIndex + 1;
        const found = Choices.beginningWith(model, typed, first);
        if (found >= 0)
            currentIndex = found;
    }

    implicitHeight: contentHeight
    clip: true
    boundsBehavior: Flickable.StopAtBounds
    highlightMoveDuration: 0
    Accessible.role: Accessible.List
    Accessible.name: combo.label
    Templates.ScrollBar.vertical: ScrollBar {
    }

    Timer {
        id: pause

        interval: 800
    }
    delegate: ChoiceRow {
        width: list.width - (list.contentHeight > list.height ? Theme.space3 : 0)
        chosen: modelData.value === list.combo.value
        current: index === list.currentIndex
        onClicked: list.combo.pick(modelData)
        onEntered: list.currentIndex = index
    }
}
