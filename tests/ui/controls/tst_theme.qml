import QtQuick
import QtTest
import Lingrelay.Controls

TestCase {
    id: test

    name: "Theme"
    when: windowShown
    visible: true
    width: 600
    height: 100

    Component {
        id: startButton

        StartButton {
        }
    }
    Component {
        id: button

        Button { x: 20; y: 20; text: "Delete" }
    }

    readonly property var surfaces: ["window", "sidebar", "card", "popup", "field"]
    readonly property var washes: [Theme.brand, Theme.listen, Theme.error]

    function over(top, below) {
        const mix = part => top[part] * top.a + below[part] * (1 - top.a);
        return Qt.rgba(mix("r"), mix("g"), mix("b"), 1);
    }
    function luminance(colour) {
        const linear = part => part <= 0.04045 ? part / 12.92 : Math.pow((part + 0.055) / 1.055, 2.4);
        return 0.2126 * linear(colour.r) + 0.7152 * linear(colour.g) + 0.0722 * linear(colour.b);
    }
    function checkContrast(top, below, least, what) {
        const lights = [luminance(over(top, below)), luminance(below)].sort((a, b) => b - a);
        const ratio = (lights[0] + 0.05) / (lights[1] + 0.05);
        verify(ratio >= least, what + " has only " + ratio.toFixed(2) + " to 1");
    }

    function init_data() {
        return [{ tag: "light", dark: false }, { tag: "dark", dark: true }];
    }
    function cleanup() {
        Theme.dark = false;
    }

    function test_contrastSelfTest() {
        checkContrast(Qt.color("#767676"), Qt.color("white"), 4.54, "a known pair");
        fuzzyCompare(luminance(over(Qt.rgba(0, 0, 0, 0.5), Qt.color("white"))), 0.2140, 0.001);
    }
    function test_textsCanBeRead(data) {
        Theme.dark = data.dark;
        for (const ink of ["text", "secondary", "brandText", "warning", "error", "good", "listenText", "speakText"])
            for (const surface of surfaces.filter(surface => surface !== "sidebar" || !["good", "listenText", "speakText"].includes(ink)))
                checkContrast(Theme[ink], Theme[surface], 4.5, ink + " on " + surface);
        for (const ink of ["text", "secondary", "error"])
            checkContrast(Theme[ink], over(Theme.hover, Theme.card), 4.5, ink + " on a hovered button");
        checkContrast(Theme.text, over(Theme.highlight, Theme.popup), 4.5, "text on a reached row");
        checkContrast(Theme.text, over(Theme.highlight, Theme.sidebar), 4.5, "text on a chosen row");
        checkContrast(Theme.text, over(Theme.chip, Theme.card), 4.5, "text on a chip");
        for (const fill of ["brand", "brandPressed"])
            checkContrast(Theme.brandInk, Theme[fill], 4.5, "the label on " + fill);
        for (const wash of washes)
            checkContrast(Theme.text, Theme.washed(wash), 4.5, "text on a banner");
    }
    // As it is drawn, beside the letters, with the pointer away, over it, and down.
    function checkDrawn(item, ink, from, to, what) {
        const look = state => {
            waitForRendering(item);
            const picture = grabImage(item);
            for (let x = from; x <= to; x += 2)
                checkContrast(ink, picture.pixel(x, 5), 4.5, what + " at " + x + ", " + state);
        };
        mouseMove(test, 1, 1);
        look("at rest");
        mouseMove(item, from, 5);
        verify(item.hovered);
        look("hovered");
        mousePress(item, from, 5);
        verify(item.down);
        look("pressed");
        mouseRelease(item, from, 5);
    }
    function test_labelsOfButtonsCanBeRead_data() {
        return init_data();
    }
    function test_labelsOfButtonsCanBeRead(data) {
        Theme.dark = data.dark;
        for (const width of [208, 500])
            for (const text of ["Start translating", "Bắt đầu", "Một câu dài hơn cả nút này và còn dài hơn nữa"]) {
                const start = createTemporaryObject(startButton, test, { x: 20, y: 20, width, text });
                const words = start.contentItem.children[0];
                checkDrawn(start, start.ink, Math.round(words.x), Math.round(words.x + words.width), text);
                start.destroy();
                wait(0);
            }
        for (const kind of [Button.Plain, Button.Filled, Button.Destructive]) {
            const item = createTemporaryObject(button, test, { kind });
            checkDrawn(item, item.ink, 12, item.width - 12, "kind " + kind);
            item.destroy();
            wait(0);
        }
    }
    function test_edgesCanBeSeen(data) {
        Theme.dark = data.dark;
        for (const edge of ["track", "focus"])
            for (const surface of surfaces)
                checkContrast(Theme[edge], Theme[surface], 3, edge + " on " + surface);
        checkContrast(Theme.brand, Theme.card, 3, "a switch that is on");
        checkContrast(Theme.error, over(Theme.highlight, Theme.popup), 3, "the icon of a destructive action, reached");
        checkContrast(Theme.brandInk, Theme.brand, 3, "the knob of a switch");
        for (const mark of [[Theme.brandText, Theme.brand], [Theme.warning, Theme.listen], [Theme.error, Theme.error]])
            checkContrast(mark[0], Theme.washed(mark[1]), 3, "the icon of a banner");
    }
    function test_nothingMovesWhenAskedNotTo() {
        Theme.reducedMotion = true;
        compare(Theme.duration + Theme.meterDuration, 0);
        Theme.reducedMotion = false;
        compare([Theme.duration, Theme.meterDuration], [120, 80]);
    }
}
