import QtQuick
import QtQuick.Layouts
import QtQuick.Templates as Templates
import Lingrelay.Controls
import ".."

ViewCase {
    id: test

    readonly property string words: "Đặt micro hệ thống về Lingrelay trong lúc nói và trả lại như cũ khi dừng phiên dịch"

    name: "Layout"
    width: 1120

    Component {
        id: row

        FormRow {
            iconName: "globe"
            title: test.words
            hint: test.words

            Combo { width: 280; model: [] }
        }
    }
    Component {
        id: card

        Card {
            width: 400

            FormRow { title: "One" }
            FormRow { title: "Two" }
            FormRow { title: "Three" }
        }
    }
    Component {
        id: meter

        MeterRow { width: 300; label: "Headphones"; iconName: "headphones"; tint: Theme.listen }
    }
    Component {
        id: page

        ScrollPage {
            width: 500
            height: 300

            Repeater {
                model: 30

                TextField { Layout.fillWidth: true; placeholderText: "Field" }
            }
        }
    }

    // The words and the control never touch, and both stay in the row.
    function test_rowHoldsItsParts_data() {
        return [240, 300, 360, 420, 480, 720].map(width => ({ tag: width, width }));
    }
    function test_rowHoldsItsParts(data) {
        const item = createTemporaryObject(row, test, { width: data.width });
        item.height = Qt.binding(() => item.implicitHeight);
        waitForRendering(item);
        const control = place(item.field, item);
        verify(control.left >= 0 && control.right <= item.width - Theme.space3);
        verify(control.top >= 0 && control.bottom <= item.height);
        const texts = all(item, part => part.text === test.words);
        compare(texts.length, 2);
        for (const part of texts) {
            const words = place(part, item);
            verify(!part.truncated && part.paintedWidth <= part.width + 1 && part.width >= 100);
            verify(words.bottom <= item.height && words.top >= 0);
            verify(words.right <= control.left || words.bottom <= control.top, "the words lie under the control");
        }
        compare(Reader.name(item.field), test.words);
        item.width = 900;
        compare(item.field.width, 280); // room again
        verify(!item.narrow);
    }
    function test_linesAreBetweenRowsOnly() {
        const item = createTemporaryObject(card, test);
        const rows = Array.from(findChild(item, "column").children);
        compare(rows.map(each => each.first), [true, false, false]);
        rows[0].visible = false;
        compare(rows.map(each => each.first), [false, true, false]);
        verify(rows[1].height >= 44);
    }

    function test_meterTellsItsLevel() {
        const item = createTemporaryObject(meter, test, { level: 0.426 });
        const bars = findChild(item, "meter");
        compare(Reader.description(bars), "43");
        compare(Reader.name(bars), "Headphones, signal level");
        const lit = () => findChild(bars, "bars").litCount;
        for (const [level, bars] of [[0.426, 9], [0, 0], [1, 20]]) {
            item.level = level;
            tryVerify(() => lit() === bars);
        }
    }

    function test_pageFollowsTheKeyboard() {
        const item = createTemporaryObject(page, test);
        waitForRendering(item);
        const fields = all(item, part => part instanceof TextField);
        fields[0].forceActiveFocus();
        for (let i = 0; i < 20; ++i)
            keyClick(Qt.Key_Tab);
        verify(fields[20].activeFocus);
        tryVerify(() => place(fields[20], item).bottom <= item.height);
        for (let i = 0; i < 20; ++i)
            keyClick(Qt.Key_Tab, Qt.ShiftModifier);
        tryVerify(() => place(fields[0], item).top >= 0);
        keyClick(Qt.Key_PageDown);
        tryVerify(() => item.contentY > 200);
        keyClick(Qt.Key_PageUp);
        keyClick(Qt.Key_PageUp);
        tryCompare(item, "contentY", 0);
        const bar = item.Templates.ScrollBar.vertical.contentItem;
        tryCompare(bar, "opacity", 0); // it has hidden itself
        mouseWheel(item, 100, 100, 0, -240);
        tryVerify(() => item.contentY > 100);
        tryVerify(() => bar.opacity > 0.5);
        mouseClick(item, 4, 100); // beside the fields
        verify(item.activeFocus);
        keyClick(Qt.Key_End);
        tryCompare(item, "contentY", item.contentHeight - item.height);
        item.height = item.contentHeight + 50;
        tryCompare(item, "contentY", 0);
    }
}
