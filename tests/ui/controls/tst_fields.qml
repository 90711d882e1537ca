import QtQuick
import QtQuick.Layouts
import QtQuick.Templates as Templates
import Lingrelay.Controls
import ".."

ViewCase {
    id: test

    property var seen: []

    name: "Fields"

    Component {
        id: textField

        TextField { width: 240; placeholderText: "Key"; onTextEdited: test.seen.push(text) }
    }
    Component {
        id: selectable

        SelectableText { width: 240; text: "Words to keep" }
    }
    Component {
        id: button

        Button { onClicked: test.seen.push("clicked") }
    }
    Component {
        id: sheetScene

        Item {
            property alias opener: opener
            property alias sheet: sheet
            property alias first: first
            property alias last: last

            anchors.fill: parent

            Button { id: opener; text: "Open"; onClicked: sheet.open() }
            Button { y: 100; text: "Behind" ; onClicked: test.seen.push("behind") }
            Sheet {
                id: sheet

                title: "Kết thúc phiên?"

                TextField { id: first; Layout.fillWidth: true; placeholderText: "Name" }
                Label { id: tall; Layout.fillWidth: true; text: "One" }
                footer: RowLayout {
                    Button { id: last; text: "OK"; onClicked: sheet.close() }
                }
            }
        }
    }

    function cleanup() {
        seen = [];
    }

    function test_fieldIsCleared() {
        const field = createTemporaryObject(textField, test);
        compare(Reader.name(field), "Key");
        verify(!named(field, "Clear"));
        field.forceActiveFocus();
        keyClick("a");
        keyClick("b");
        mouseClick(named(field, "Clear"));
        compare(seen, ["a", "ab", ""]);
        verify(field.activeFocus);
        verify(!named(field, "Clear"));
        field.text = "Một câu dài hơn ô này rất nhiều, để chữ không chạy xuống dưới nút xoá";
        verify(field.rightPadding >= field.width - named(field, "Clear").x);
        field.clearable = false;
        verify(!named(field, "Clear"));
        field.clearable = true;
        field.enabled = false;
        verify(!named(field, "Clear"));
    }
    function test_secretIsHiddenUntilAsked() {
        const field = createTemporaryObject(textField, test, { secure: true, text: "s3cret" });
        compare(Reader.description(field), "Key");
        verify(!field.displayText.includes("s3cret"));
        mouseClick(named(field, "Show"));
        compare(field.displayText, "s3cret");
        verify(Reader.act(named(field, "Hide"), "Press"));
        verify(!field.displayText.includes("s3cret"));
        field.revealed = true;
        field.visible = false;
        field.visible = true;
        verify(!field.displayText.includes("s3cret")); // hidden anew when it comes back
        compare(seen, []);
    }
    function pick(name) {
        let entry = null;
        tryVerify(() => entry = named(test.Templates.Overlay.overlay, name));
        mouseClick(entry);
        tryVerify(() => !entry.visible);
    }
    function test_menuOfAField() {
        const field = createTemporaryObject(textField, test, { text: "one two" });
        mouseDoubleClickSequence(field, field.leftPadding + 3);
        compare(field.selectedText, "one");
        mouseClick(field, 60, field.height / 2, Qt.RightButton);
        tryVerify(() => named(test.Templates.Overlay.overlay, "Cut"));
        compare(field.selectedText, "one"); // also while the menu has the focus
        pick("Cut");
        compare(field.text, " two");
        tryVerify(() => field.activeFocus);
        mouseClick(field, 60, field.height / 2, Qt.RightButton);
        pick("Select All");
        tryCompare(field, "selectedText", " two");
        keyClick(Qt.Key_Menu);
        pick("Paste");
        compare(field.text, "one");
        keyClick(Qt.Key_Menu);
        pick("Undo");
        compare(field.text, " two");
        tryVerify(() => field.activeFocus);
        keyClick(Qt.Key_Menu);
        pick("Redo");
        compare(field.text, "one");
        compare(seen, [" two", "one", " two", "one"]);
        tryVerify(() => field.activeFocus);
        field.secure = true;
        field.selectAll();
        keyClick(Qt.Key_F10, Qt.ShiftModifier);
        tryVerify(() => named(test.Templates.Overlay.overlay, "Copy"));
        verify(!named(test.Templates.Overlay.overlay, "Copy").enabled); // a key does not leave by the clipboard
        keyClick(Qt.Key_Escape);
        tryVerify(() => field.activeFocus);
    }
    function test_menuOfAText() {
        const text = createTemporaryObject(selectable, test);
        mouseDoubleClickSequence(text, 5, 5);
        compare(text.selectedText, "Words");
        mouseClick(text, 5, 5, Qt.RightButton);
        pick("Copy");
        for (const change of ["Undo", "Cut", "Paste"])
            verify(!named(test.Templates.Overlay.overlay, change));
        const field = createTemporaryObject(textField, test, { y: 100 });
        field.forceActiveFocus();
        compare(text.selectedText, "");
        field.paste();
        compare(field.text, "Words");
    }

    function test_textReachedByTabHasARing() {
        const text = createTemporaryObject(selectable, test, { y: 100 });
        const ring = () => Array.from(text.children).find(part => part instanceof FocusRing && part.visible);
        mouseClick(text, 5, 5);
        verify(text.activeFocus && !ring());
        const item = createTemporaryObject(button, test, { text: "Before" });
        item.forceActiveFocus(Qt.TabFocusReason);
        keyClick(Qt.Key_Tab);
        verify(text.activeFocus && ring());
        keyClick(Qt.Key_Menu);
        tryVerify(() => named(test.Templates.Overlay.overlay, "Copy"));
        keyClick(Qt.Key_Escape);
        tryVerify(() => text.activeFocus && ring()); // as before the menu
        keyClick(Qt.Key_Tab, Qt.ShiftModifier);
        verify(item.activeFocus && !ring());
    }

    function test_buttonByEveryWay() {
        const item = createTemporaryObject(button, test, { iconName: "trash", toolTip: "Delete" });
        compare(Reader.name(item), "Delete");
        item.forceActiveFocus(Qt.TabFocusReason);
        keyClick(Qt.Key_Space);
        keyClick(Qt.Key_Return);
        keyClick(Qt.Key_Enter);
        mouseClick(item);
        verify(Reader.act(item, "Press"));
        compare(seen.length, 5);
        item.enabled = false;
        mouseClick(item);
        Reader.act(item, "Press");
        compare(seen.length, 5);
        item.text = "Xoá";
        compare(Reader.name(item), "Xoá");
    }

    function test_sheetKeepsTheKeyboard() {
        const scene = createTemporaryObject(sheetScene, test);
        scene.opener.forceActiveFocus(Qt.TabFocusReason);
        keyClick(Qt.Key_Return);
        tryVerify(() => scene.sheet.opened);
        verify(scene.first.activeFocus); // it can be typed into at once
        for (let i = 0; i < 10; ++i) {
            keyClick(Qt.Key_Tab, i < 5 ? Qt.NoModifier : Qt.ShiftModifier);
            verify(scene.first.activeFocus || scene.last.activeFocus, "the keyboard left the sheet");
        }
        mouseClick(scene, 20, 110);
        compare(seen, []);
        verify(scene.sheet.opened);
        keyClick(Qt.Key_Escape);
        tryVerify(() => !scene.sheet.visible);
        verify(scene.opener.visualFocus);
    }
    function test_tallSheetStaysInTheWindow() {
        const scene = createTemporaryObject(sheetScene, test);
        scene.sheet.open();
        tryVerify(() => scene.sheet.opened);
        const before = scene.sheet.height;
        findChild(scene.sheet.contentItem, "body").children[1].text = "Một dòng\n".repeat(80);
        tryVerify(() => scene.sheet.height > before);
        verify(scene.sheet.height <= test.Window.height);
        const foot = scene.last.mapToItem(null, 0, scene.last.height).y;
        verify(foot < test.Window.height, "the answers are out of reach");
        scene.last.forceActiveFocus();
        keyClick(Qt.Key_Return);
        tryVerify(() => !scene.sheet.visible);
    }
}
