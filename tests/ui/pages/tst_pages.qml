import QtQuick
import QtQuick.Templates as Templates
import Lingrelay
import Lingrelay.Controls
import Lingrelay.Model
import ".."

ViewCase {
    id: test

    name: "Pages"
    width: 800
    height: 560

    Component {
        id: linesScene

        Item {
            property alias before: before
            property alias view: view
            property alias after: after
            property alias rows: rows

            function add(count) {
                for (let i = 0; i < count; ++i)
                    rows.append({ at: "10:00:00", heard: true, speaker: "", source: "Words " + rows.count, translation: "Palabras" });
                waitForRendering(view);
            }

            anchors.fill: parent

            Button { id: before; text: "Before" }
            LinesView { id: view; x: 20; y: 60; width: 500; height: 300; following: true; lines: ListModel { id: rows } }
            Button { id: after; y: 400; text: "After" }
        }
    }
    Component {
        id: historyPage

        HistoryPage { anchors.fill: parent }
    }
    Component {
        id: languagesPage

        LanguagesPage { anchors.fill: parent }
    }
    Component {
        id: devicesPage

        DevicesPage { anchors.fill: parent }
    }
    Component {
        id: mainWindow

        MainWindow { visible: true }
    }

    function cleanup() {
        Settings.uiLang = "en";
        Program.asked();
    }
    function isList(item) {
        return item instanceof ListView;
    }
    function withText(text) {
        return item => item.text === text && (item.activeFocusOnTab !== undefined);
    }
    // A ring on show, all of it.
    function ringAround(item) {
        const ring = find(item, part => part instanceof FocusRing);
        for (let outer = ring; outer; outer = outer.parent) {
            const place = ring.mapToItem(outer, Qt.rect(0, 0, ring.width, ring.height));
            verify(!outer.clip || (place.left >= 0 && place.top >= 0 && place.right <= outer.width && place.bottom <= outer.height), "the ring is cut: " + place);
        }
        return ring;
    }

    function test_linesAreOneStopOfTheKeyboard() {
        const scene = createTemporaryObject(linesScene, test);
        scene.add(100);
        const list = find(scene.view, isList);
        tryVerify(() => list.atYEnd);
        scene.before.forceActiveFocus(Qt.TabFocusReason);
        keyClick(Qt.Key_Tab);
        compare(reached, list);
        verify(ringAround(scene.view));
        keyClick(Qt.Key_Up);
        keyClick(Qt.Key_Tab);
        verify(find(scene.view, withText("Latest")).activeFocus);
        keyClick(Qt.Key_Space);
        scene.after.forceActiveFocus(Qt.TabFocusReason);
        keyClick(Qt.Key_Tab, Qt.ShiftModifier);
        compare(reached, list);

        const words = find(list, item => item instanceof SelectableText && item.text === "Words 99");
        mouseDoubleClickSequence(words, 5, 5);
        compare(words.selectedText, "Words"); // by pointer, each of them
        verify(!ringAround(scene.view));
        keyClick(Qt.Key_Tab);
        verify(scene.after.activeFocus);
        keyClick(Qt.Key_Tab, Qt.ShiftModifier);
        compare(reached, list);
    }
    function test_linesFollowUntilTheyAreScrolled() {
        const scene = createTemporaryObject(linesScene, test);
        scene.add(60);
        const list = find(scene.view, isList);
        const latest = () => find(scene.view, withText("Latest"));
        tryVerify(() => list.atYEnd);
        mouseClick(find(list, item => item instanceof SelectableText && item.text === "Words 59"), 5, 5);
        verify(list.activeFocus);
        scene.add(3);
        tryVerify(() => list.atYEnd);
        verify(!latest());

        scene.before.forceActiveFocus();
        const bar = list.Templates.ScrollBar.vertical;
        mousePress(bar, bar.width / 2, bar.height - 5);
        mouseMove(bar, bar.width / 2, bar.height / 2);
        mouseRelease(bar, bar.width / 2, bar.height / 2);
        tryVerify(latest);
        const pill = latest().mapToItem(scene.view, 0, 0);
        verify(pill.y > 0 && pill.y + latest().height <= scene.view.height, "out of sight");
        const place = list.contentY;
        scene.add(3);
        waitForRendering(scene);
        fuzzyCompare(list.contentY, place, 1);
        mouseClick(latest());
        tryVerify(() => list.atYEnd);
        verify(!latest());
        scene.add(3);
        tryVerify(() => list.atYEnd);
    }

    function test_focusWhenSessionsAreDeleted_data() {
        return [{ tag: "by keyboard", ring: true }, { tag: "by pointer", ring: false }];
    }
    function test_focusWhenSessionsAreDeleted(data) {
        Program.archive(3);
        const page = createTemporaryObject(historyPage, test);
        const list = find(page, isList);
        tryCompare(list, "count", 3);
        for (let left = 2; left >= 0; --left) {
            waitForRendering(list);
            const row = list.itemAtIndex(0);
            const head = find(row, item => item instanceof Templates.ItemDelegate);
            mouseClick(head);
            tryVerify(() => find(row, withText("Delete")));
            waitForRendering(list);
            if (data.ring) {
                find(row, withText("Delete")).forceActiveFocus(Qt.TabFocusReason);
                keyClick(Qt.Key_Space);
            } else {
                mouseClick(find(row, withText("Delete")));
            }
            tryCompare(list, "count", left);
            verify(reached && reached.visible && reached !== test.Window.contentItem, "nowhere");
            waitForRendering(page);
            const ring = ringAround(page);
            compare(ring !== null, data.ring);
            verify(!ring || find(reached, part => part === ring));
        }
    }
    function test_sessionsByKeyboard() {
        Program.archive(30);
        const page = createTemporaryObject(historyPage, test);
        const list = find(page, isList);
        tryCompare(list, "count", 30);
        waitForRendering(list);
        const search = find(page, item => item instanceof SearchField);
        const head = index => find(list.itemAtIndex(index), item => item instanceof Templates.ItemDelegate);
        search.forceActiveFocus();
        keyClick(Qt.Key_Tab);
        compare(reached, head(0));
        const walk = (keyCode, steps) => {
            for (let i = 0; i < steps; ++i) {
                verify(ringAround(page));
                keyClick(keyCode);
            }
        };
        walk(Qt.Key_Down, 30);
        verify(list.atYEnd);
        walk(Qt.Key_Up, 30);
        verify(list.atYBeginning);
        walk(Qt.Key_Down, 2);
        keyClick(Qt.Key_Return);
        tryVerify(() => find(list, withText("Summarise")));
        keyClick(Qt.Key_Tab);
        compare(reached, find(list, withText("Summarise")));
        keyClick(Qt.Key_Tab, Qt.ShiftModifier);
        compare(reached, head(2));
        keyClick(Qt.Key_Tab, Qt.ShiftModifier);
        compare(reached, search);
        keyClick(Qt.Key_Tab);
        compare(reached, head(2)); // where it was before
    }

    // The choice that begins so, in the list that a combo opens.
    function pick(page, label, text) {
        const combo = find(page, item => item instanceof Combo && item.label === label);
        combo.forceActiveFocus(Qt.TabFocusReason);
        keyClick(Qt.Key_Space);
        tryVerify(() => combo.popup.opened);
        type(text);
        keyClick(Qt.Key_Return);
        tryVerify(() => !combo.popup.visible);
    }
    function test_whatIsPickedReachesTheProgram() {
        Settings.mode = "both";
        Program.asked();
        let page = createTemporaryObject(languagesPage, test);
        pick(page, "They speak", "span");
        pick(page, "You hear", "german");
        pick(page, "You speak", "french");
        pick(page, "They hear", "ital");
        compare([Settings.sourceLang, Settings.targetLang, Settings.myLang, Settings.theirLang], ["es", "de", "fr", "it"]);
        compare(Program.asked(), Array(4).fill("apply both"));
        page.destroy();
        wait(0);
        page = createTemporaryObject(devicesPage, test);
        pick(page, "Your microphone", "headset");
        pick(page, "Send your voice via", "system");
        pick(page, "Play translation to", "speakers");
        compare(Program.asked(), ["mic 2", "speak default", "listen 3"]);
    }

    function openWindow(properties) {
        const window = createTemporaryObject(mainWindow, test, properties);
        Program.setWindow(window);
        tryCompare(window, "active", true);
        return window;
    }
    function test_everyPageFits_data() {
        return ["en", "vi"].map(tag => ({ tag }));
    }
    function test_everyPageFits(data) {
        Settings.uiLang = data.tag;
        Settings.mode = "both";
        Program.archive(3);
        const window = openWindow({ width: 800, height: 560 });
        const misfit = item => {
            const at = place(item, window.contentItem);
            return item.text && item.width > 0 && (item.truncated || item.paintedWidth > item.width + 1 || item.lineCount > 1 && !/\s/.test(item.text)) || at.left < 0 || at.right > window.width || item.activeFocusOnTab && !Reader.name(item) && !Reader.description(item);
        };
        for (const section of Sections.session.concat(Sections.settings)) {
            Sections.current = section.value;
            tryVerify(() => find(window.contentItem, item => item.text === section.text && item.kind === Label.Title));
            let misfits = null;
            for (let i = 0; i < 20 && (misfits === null || misfits.length > 0); ++i) { // some is made once the rest is on show
                wait(50);
                misfits = all(window.contentItem, item => (item.text || item.activeFocusOnTab) && misfit(item));
            }
            compare(misfits.map(item => section.value + ": " + item + item.text), []);
            if (pictures)
                grabImage(window.contentItem).save(pictures + "/" + section.value + "-" + data.tag + ".png");
        }
        window.destroy();
    }
    function test_theRunButtonStaysOnALowWindow() {
        const window = openWindow({ width: 800, minimumHeight: 0, height: 440 });
        const button = find(window.contentItem, item => item instanceof StartButton);
        verify(place(button, window.contentItem).bottom <= 440);
        for (const name of ["about", "dashboard"]) {
            Sections.current = name;
            const row = find(window.contentItem, item => item instanceof SidebarRow && item.selected);
            tryVerify(() => place(row, window.contentItem).bottom <= place(button, window.contentItem).top && place(row, window.contentItem).top > 40);
        }
        window.destroy();
    }
    function test_aQuestionIsAnsweredOnce() {
        const window = openWindow();
        const button = name => find(window.Templates.Overlay.overlay, item => item instanceof Button && item.text === name);
        for (const [answer, expected] of [[() => mouseClick(button("Yes")), true], [() => mouseClick(button("No")), false], [() => keyClick(Qt.Key_Escape), false], [() => keyClick(Qt.Key_Return), true]]) {
            let second = true;
            const first = Program.ask("Install?", () => {
                if (button("Yes") && button("Yes").activeFocus) {
                    second = Program.ask("Another?", () => {});
                    answer();
                }
            });
            compare([first, second], [expected, false]);
            tryVerify(() => !button("Yes"));
        }
        window.destroy();
    }
    function test_aClosedWindowCanBeFoundAgainOrEndsTheProgram() {
        const window = openWindow();
        Program.setRunning(true);
        window.close();
        compare([window.visibility, Program.asked()], [Window.Minimized, []]);
        window.showNormal();
        Program.tray = true;
        window.close();
        compare([window.visibility, Program.asked()], [Window.Hidden, []]);
        Program.setRunning(false);
        Program.tray = false;
        window.show();
        window.close();
        compare([window.visibility, Program.asked()], [Window.Hidden, ["quit"]]);
    }
}
