import QtQuick
import QtQuick.Layouts
import QtQuick.Templates as Templates

/// The list that a Combo opens: as wide as its texts ask, within the window; a long one begins with a search field.
Templates.Popup {
    id: popup

    required property var combo

    readonly property var shown: search.length === 0 ? combo.model : combo.model.filter(entry => combo.folded(entry.text).includes(combo.folded(search.text)))
    readonly property real wanted: Math.min(content.implicitHeight + 2 * padding, Theme.popupHeight)
    readonly property real textWidth: combo.model.reduce((most, entry) => Math.max(most, metrics.advanceWidth(entry.text + (entry.mark ?? ""))), 0)
    property string typed
    property bool above
    property int back ///< the reason for the focus to return: the ring shows again when it was there

    function step(by) {
        list.currentIndex = Math.max(0, Math.min(shown.length - 1, list.currentIndex + by));
    }
    function pickCurrent() {
        if (shown[list.currentIndex])
            combo.pick(shown[list.currentIndex]);
    }
    // In a short list letters go to the next entry that begins with them.
    function type(event) {
        if (combo.searchable || event.text.trim().length === 0)
            return;
        typed = pause.running ? typed + combo.folded(event.text) : combo.folded(event.text);
        pause.restart();
        const order = shown.map((entry, i) => (list.currentIndex + i + (typed.length > 1 ? 0 : 1)) % shown.length);
        list.currentIndex = order.find(i => combo.folded(shown[i].text).startsWith(typed)) ?? list.currentIndex;
    }

    y: above ? -height - Theme.space1 : combo.height + Theme.space1
    width: Math.min(Math.max(combo.width, textWidth + 88), combo.Window.width - 2 * margins)
    height: Math.min(wanted, combo.Window.height - 2 * margins)
    margins: Theme.space2
    padding: 6
    focus: true
    closePolicy: Templates.Popup.CloseOnEscape | Templates.Popup.CloseOnPressOutsideParent
    onAboutToShow: {
        search.clear();
        const below = combo.Window.height - combo.mapToItem(null, 0, combo.height).y;
        above = below < wanted && combo.Window.height - combo.height - below > wanted;
        back = combo.visualFocus ? Qt.TabFocusReason : Qt.PopupFocusReason;
        list.currentIndex = Math.max(0, combo.model.findIndex(entry => entry.value === combo.value));
    }
    onOpened: {
        list.positionViewAtIndex(list.currentIndex, ListView.Center);
        (combo.searchable ? search : list).forceActiveFocus(Qt.PopupFocusReason);
    }
    onClosed: combo.forceActiveFocus(back)
    onShownChanged: if (search.length > 0) list.currentIndex = 0

    background: PopupSurface {
    }
    contentItem: ColumnLayout {
        id: content

        spacing: 6
        Keys.onUpPressed: popup.step(-1)
        Keys.onDownPressed: popup.step(1)
        Keys.onReturnPressed: popup.pickCurrent()
        Keys.onEnterPressed: popup.pickCurrent()
        Keys.onPressed: event => {
            const steps = ({ [Qt.Key_PageDown]: 8, [Qt.Key_PageUp]: -8, [Qt.Key_Home]: -Infinity, [Qt.Key_End]: Infinity });
            event.key in steps ? popup.step(steps[event.key]) : popup.type(event);
        }

        FontMetrics {
            id: metrics

            font.pixelSize: Theme.fontBody
        }
        Timer {
            id: pause

            interval: 800
        }
        SearchField {
            id: search

            Layout.fillWidth: true
            visible: popup.combo.searchable
            placeholderText: popup.combo.searchPrompt
            Keys.onEscapePressed: popup.close()
        }
        Label {
            objectName: "empty"
            Layout.fillWidth: true
            Layout.margins: Theme.space2
            visible: popup.shown.length === 0
            kind: Label.Secondary
            text: popup.combo.emptyText
        }
        ChoiceList {
            id: list

            objectName: "list"
            Layout.fillWidth: true
            Layout.fillHeight: true
            model: popup.shown
            combo: popup.combo
        }
    }
}
