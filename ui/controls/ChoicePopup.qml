import QtQuick
import QtQuick.Layouts
import QtQuick.Templates as Templates

/// The list that a Combo opens.
Templates.Popup {
    id: popup

    required property var combo
    property string query

    readonly property var shown: query.length === 0 ? combo.model : combo.model.filter(entry => combo.folded(entry.text).includes(combo.folded(query)))

    function step(by) {
        list.currentIndex = Math.max(0, Math.min(shown.length - 1, list.currentIndex + by));
    }
    function type(event) {
        // In a short list a letter goes to the next entry that begins with it.
        if (combo.searchable || event.text.trim().length === 0)
            return;
        for (let i = 1; i <= shown.length; ++i) {
            const index = (list.currentIndex + i) % shown.length;
            if (combo.folded(shown[index].text).startsWith(combo.folded(event.text))) {
                list.currentIndex = index;
                return;
            }
        }
    }

    y: combo.height + 4
    width: Math.max(combo.width, 220)
    height: Math.min(content.implicitHeight + 2 * padding, 360, combo.Window.height - 2 * margins)
    margins: Theme.space2
    padding: 6
    focus: true
    modal: false
    closePolicy: Templates.Popup.CloseOnEscape | Templates.Popup.CloseOnPressOutside
    onAboutToShow: {
        query = "";
        search.clear();
        list.currentIndex = Math.max(0, combo.model.findIndex(entry => entry.value === combo.value));
    }
    onOpened: {
        list.positionViewAtIndex(list.currentIndex, ListView.Center);
        (combo.searchable ? search : list).forceActiveFocus(Qt.PopupFocusReason);
    }
    onClosed: combo.forceActiveFocus(Qt.PopupFocusReason)
    onShownChanged: if (query.length > 0) list.currentIndex = 0

    background: Rectangle {
        radius: Theme.radiusControl + 2
        color: Theme.popup
        border.color: Theme.track
    }
    contentItem: ColumnLayout {
        id: content

        spacing: 6
        Keys.onUpPressed: popup.step(-1)
        Keys.onDownPressed: popup.step(1)
        Keys.onReturnPressed: if (popup.shown[list.currentIndex]) popup.combo.pick(popup.shown[list.currentIndex])
        Keys.onEnterPressed: if (popup.shown[list.currentIndex]) popup.combo.pick(popup.shown[list.currentIndex])
        Keys.onPressed: event => popup.type(event)

        SearchField {
            id: search

            Layout.fillWidth: true
            visible: popup.combo.searchable
            placeholderText: popup.combo.searchPrompt
            onTextChanged: popup.query = text
            Keys.onEscapePressed: popup.close()
        }
        Label {
            Layout.fillWidth: true
            Layout.margins: Theme.space2
            visible: popup.shown.length === 0
            kind: Label.Secondary
            text: popup.combo.emptyText
        }
        ListView {
            id: list

            Layout.fillWidth: true
            Layout.fillHeight: true
            implicitHeight: contentHeight
            clip: true
            boundsBehavior: Flickable.StopAtBounds
            model: popup.shown
            highlightMoveDuration: 0
            Accessible.role: Accessible.List
            Accessible.name: popup.combo.label
            Templates.ScrollBar.vertical: ScrollBar {
            }

            delegate: ChoiceRow {
                width: list.width
                chosen: modelData.value === popup.combo.value
                current: index === list.currentIndex
                onClicked: popup.combo.pick(modelData)
                onEntered: list.currentIndex = index
            }
        }
    }
}
