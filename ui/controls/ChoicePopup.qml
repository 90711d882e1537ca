import QtQuick
import QtQuick.Layouts
import QtQuick.Templates as Templates
import Lingrelay.Controls
import "Focus.js" as Focus

/// The list that a Combo opens: as wide as its texts ask, within the window; a long one begins with a search field.
Templates.Popup {
    id: popup

    required property var combo

    readonly property var shown: search.length === 0 ? combo.model : Choices.holding(combo.model, search.text)
    readonly property real wanted: Math.min(content.implicitHeight + 2 * padding, Theme.popupHeight)
    property real textWidth ///< of the widest entry; dozens are measured only when they are to be seen
    property bool above
    property int back ///< the reason for the focus to return: the ring shows again when it was there

    function pickCurrent() {
        if (shown[list.currentIndex])
            combo.pick(shown[list.currentIndex]);
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
        textWidth = combo.model.reduce((most, entry) => Math.max(most, metrics.advanceWidth(entry.text + (entry.mark ?? ""))), 0);
        const below = combo.Window.height - combo.mapToItem(null, 0, combo.height).y;
        above = below < wanted && combo.Window.height - combo.height - below > wanted;
        back = combo.visualFocus ? Qt.TabFocusReason : Qt.PopupFocusReason;
        list.currentIndex = Math.max(0, combo.model.findIndex(entry => entry.value === combo.value));
    }
    onOpened: {
        list.positionViewAtIndex(list.currentIndex, ListView.Center);
        (combo.searchable ? search : list).forceActiveFocus(Qt.PopupFocusReason);
    }
    onClosed: Focus.giveBack(combo, back)
    onShownChanged: if (search.length > 0) list.currentIndex = 0

    background: PopupSurface {
    }
    contentItem: ColumnLayout {
        id: content

        spacing: 6
        Keys.onUpPressed: list.step(-1)
        Keys.onDownPressed: list.step(1)
        Keys.onReturnPressed: popup.pickCurrent()
        Keys.onEnterPressed: popup.pickCurrent()
        Keys.onPressed: event => {
            const steps = ({ [Qt.Key_PageDown]: 8, [Qt.Key_PageUp]: -8, [Qt.Key_Home]: -Infinity, [Qt.Key_End]: Infinity });
            if (event.key in steps)
                list.step(steps[event.key]);
            else if (!popup.combo.searchable)
                list.type(event.text);
        }

        FontMetrics {
            id: metrics

            font.pixelSize: Theme.fontBody
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
