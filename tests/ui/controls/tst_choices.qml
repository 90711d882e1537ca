import QtQuick
import Lingrelay.Controls
import ".."

ViewCase {
    id: test

    property bool on
    property var value: 1
    property var asked: []
    property real amount: 0.2

    readonly property var few: [{ value: 1, text: "Listen" }, { value: 2, text: "Speak" }, { value: 3, text: "Both" }]
    readonly property var many: ["Tiếng Việt", "Đan Mạch", "English", "日本語", "Deutsch", "Français", "Español", "Italiano", "한국어", "中文", "Português", "Polski", "Nederlands"].map((text, index) => ({ value: index, text, mark: index === 1 ? "Recommended" : "" }))

    name: "Choices"

    Component {
        id: switchRow

        SwitchRow { width: 400; title: "Open at login"; checked: test.on; onMoved: on => test.asked.push(on) }
    }
    Component {
        id: slider

        Slider { x: 20; y: 20; width: 300; from: -1; to: 1; step: 0.1; value: test.amount; valueText: value.toFixed(1); label: "Speed"; onMoved: value => test.asked.push(value) }
    }
    Component {
        id: segmented

        Segmented { x: 20; y: 20; model: test.few; value: test.value; label: "Mode"; onPicked: value => { test.asked.push(value); test.value = value } }
    }
    Component {
        id: combo

        Combo {
            x: 20
            y: 20
            model: test.few
            value: test.value
            label: "Language"
            placeholder: "None"
            searchPrompt: "Search"
            emptyText: "Nothing found"
            onPicked: value => { test.asked.push(value); test.value = value }
        }
    }
    Component {
        id: menu

        Menu {
            items: [{ text: "Copy", enabled: false }, { text: "Export", iconName: "export" }, { text: "Rename", enabled: false }, { text: "Delete", iconName: "trash", destructive: true }]
            onPicked: index => test.asked.push(index)
        }
    }
    Component {
        id: menuButton

        Button { x: 440; y: 360; text: "More" }
    }

    function cleanup() {
        on = false;
        value = 1;
        asked = [];
    }

    // The outside decides: until it follows, the switch stays as it was, and it still follows after that.
    function test_switchAsksAndFollows_data() {
        return [
            { tag: "mouse on the switch", act: (row, toggle) => mouseClick(toggle) },
            { tag: "mouse on the words", act: row => mouseClick(row, 60, 20) },
            { tag: "space", act: (row, toggle) => { toggle.forceActiveFocus(Qt.TabFocusReason); keyClick(Qt.Key_Space); } },
            { tag: "return", act: (row, toggle) => { toggle.forceActiveFocus(Qt.TabFocusReason); keyClick(Qt.Key_Return); } },
            { tag: "assistive toggle", act: (row, toggle) => verify(Reader.act(toggle, "Toggle")) },
            { tag: "assistive press", act: (row, toggle) => verify(Reader.act(toggle, "Press")) }
        ];
    }
    function test_switchAsksAndFollows(data) {
        const row = createTemporaryObject(switchRow, test);
        const toggle = row.field;
        compare(Reader.name(toggle), "Open at login");
        data.act(row, toggle);
        compare(asked, [true]);
        verify(!toggle.checked);
        verify(!Reader.isChecked(toggle));
        on = true;
        verify(toggle.checked);
        verify(Reader.isChecked(toggle));
        data.act(row, toggle);
        compare(asked, [true, false]);
        row.enabled = false;
        mouseClick(row, 60, 20);
        mouseClick(toggle);
        Reader.act(toggle, "Toggle");
        compare(asked.length, 2);
    }

    function test_sliderAsksOnlyForTheUser() {
        const item = createTemporaryObject(slider, test);
        amount = 0.7;
        compare(asked, []);
        const inner = findChild(item, "inner");
        inner.forceActiveFocus(Qt.TabFocusReason);
        keyClick(Qt.Key_Right);
        fuzzyCompare(asked.pop(), 0.8, 0.001);
        verify(Reader.setValue(inner, -0.5));
        fuzzyCompare(asked.pop(), -0.5, 0.001);
        compare(Reader.name(inner), "Speed");
        mouseClick(inner, inner.width - 4, inner.height / 2);
        fuzzyCompare(asked.pop(), 1, 0.001);
        fuzzyCompare(inner.value, 0.7, 0.001); // the outside has taken none of it
        amount = 0.1;
        fuzzyCompare(inner.value, 0.1, 0.001);
        compare(asked, []);
    }

    function test_segmentedByKeys() {
        const item = createTemporaryObject(segmented, test);
        mouseClick(item, 10, 16);
        compare(asked, []); // it is chosen already
        keyClick(Qt.Key_Right);
        keyClick(Qt.Key_Right);
        keyClick(Qt.Key_Right);
        compare(asked, [2, 3]);
        keyClick(Qt.Key_Left);
        compare(value, 2);
        const chosen = test.Window.activeFocusItem;
        compare(Reader.name(chosen), "Speak");
        verify(Reader.isChecked(chosen));
        value = 3;
        verify(!Reader.isChecked(chosen));
        verify(Reader.act(chosen, "Press"));
        compare(value, 2);
    }

    function test_comboByKeys() {
        const item = createTemporaryObject(combo, test);
        item.forceActiveFocus(Qt.TabFocusReason);
        for (const code of [Qt.Key_Down, Qt.Key_Down, Qt.Key_Return])
            keyClick(code);
        compare(asked, [2]);
        compare(item.text, "Speak");
        verify(item.visualFocus); // it is the combo's again, and shows
        keyClick(Qt.Key_Space);
        type("bo");
        for (const code of [Qt.Key_Return, Qt.Key_Space, Qt.Key_Home, Qt.Key_Escape])
            keyClick(code);
        compare(asked, [2, 3]);
        value = 9;
        compare(item.text, "None");
    }
    function test_comboSearches() {
        const item = createTemporaryObject(combo, test, { model: many });
        item.forceActiveFocus(Qt.TabFocusReason);
        keyClick(Qt.Key_Space);
        const list = findChild(item.popup.contentItem, "list");
        tryCompare(list, "count", 13);
        compare(list.currentIndex, 1);
        type("dan"); // folded: no marks needed
        compare(list.count, 1);
        keyClick(Qt.Key_Return);
        keyClick(Qt.Key_Space);
        tryCompare(list, "count", 13); // nothing is left of the last search
        type("zz");
        verify(findChild(item.popup.contentItem, "empty").visible);
        keyClick(Qt.Key_Return);
        compare(asked, [1]);
        keyClick(Qt.Key_Escape);
        tryVerify(() => !item.popup.visible);
        verify(item.activeFocus);
    }
    function test_comboByMouse() {
        const item = createTemporaryObject(combo, test);
        mouseClick(item);
        tryVerify(() => item.popup.opened);
        mouseClick(item); // the same place closes it
        tryVerify(() => !item.popup.visible);
        mouseClick(item);
        tryVerify(() => item.popup.opened);
        const list = findChild(item.popup.contentItem, "list");
        mouseClick(list.itemAtIndex(2));
        compare(asked, [3]);
        verify(Reader.act(item, "Press"));
        tryVerify(() => item.popup.opened);
        verify(Reader.act(list.itemAtIndex(0), "Press"));
        compare(asked, [3, 1]);
    }
    function test_listsStayInTheWindow() {
        const wide = [{ value: 1, text: "Tai nghe không dây của phòng họp số hai ở tầng ba, cạnh cửa sổ lớn nhìn ra sông Sài Gòn" }];
        const item = createTemporaryObject(combo, test, { model: many.map(entry => wide[0]), x: 380, y: 360, width: 110 });
        item.popup.open();
        tryVerify(() => item.popup.opened);
        const origin = item.popup.contentItem.mapToItem(null, 0, 0);
        verify(origin.x >= 0 && origin.x + item.popup.contentItem.width <= test.Window.width);
        verify(origin.y >= 0 && origin.y + item.popup.contentItem.height <= test.Window.height);
        verify(item.popup.width > 400);
        item.popup.close();
    }

    function test_menuSkipsWhatCannotBe() {
        const button = createTemporaryObject(menuButton, test);
        const item = createTemporaryObject(menu, test);
        item.popupAt(button);
        tryVerify(() => item.opened);
        const list = item.contentItem;
        const origin = list.mapToItem(null, 0, 0);
        verify(origin.x + list.width <= test.Window.width && origin.y + list.height <= test.Window.height);
        compare(list.currentIndex, 1);
        keyClick(Qt.Key_Up);
        compare(list.currentIndex, 1);
        keyClick(Qt.Key_Down);
        keyClick(Qt.Key_Return);
        compare(asked, [3]);
        tryVerify(() => !item.visible);
        verify(button.activeFocus);
        item.popupAt(button);
        tryVerify(() => item.opened);
        mouseClick(list.itemAtIndex(0));
        compare(asked, [3]);
        verify(Reader.act(list.itemAtIndex(1), "Press"));
        compare(asked, [3, 1]);
    }
}
