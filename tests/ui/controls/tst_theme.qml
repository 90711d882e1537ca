import QtQuick
import Lingrelay.Controls
import ".."

ViewCase {
    id: test

    readonly property var surfaces: ["window", "sidebar", "card", "popup", "field"]

    name: "Theme"
    width: 600

    Component {
        id: startButton

        StartButton { x: 20; y: 20 }
    }
    Component {
        id: button

        Button { x: 20; y: 20; text: "Delete" }
    }
    function over(top, below) {
        const mix = part => top[part] * top.a + below[part] * (1 - top.a);
        return Qt.rgba(mix("r"), mix("g"), mix("b"), 1);
    }
    function contrast(top, below) {
        const linear = part => part <= 0.04045 ? part / 12.92 : Math.pow((part + 0.055) / 1.055, 2.4);
        const luminance = colour => 0.2126 * linear(colour.r) + 0.7152 * linear(colour.g) + 0.0722 * linear(colour.b);
        const lights = [luminance(over(top, below)), luminance(below)].sort((a, b) => b - a);
        return (lights[0] + 0.05) / (lights[1] + 0.05);
    }
    function checkContrast(top, below, least, what) {
        const ratio = contrast(top, below);
        verify(ratio >= least, what + " has only " + ratio.toFixed(2) + " to 1");
    }

    function init_data() {
        return [{ tag: "light", dark: false }, { tag: "dark", dark: true }];
    }
    function cleanup() {
        Theme.dark = false;
    }

    function test_textsCanBeRead(data) {
        Theme.dark = data.dark;
        for (const ink of ["text", "secondary", "brandText", "warning", "error", "good", "listenText", "speakText"])
            for (const surface of surfaces.filter(surface => surface !== "sidebar" || !["good", "listenText", "speakText"].includes(ink)))
                checkContrast(Theme[ink], Theme[surface], 4.5, ink + " on " + surface);
        for (const ink of ["text", "secondary", "error"])
            checkContrast(Theme[ink], over(Theme.hover, Theme.card), 4.5, ink + " on a hovered button");
        for (const [wash, surface] of [["highlight", "popup"], ["highlight", "sidebar"]])
            checkContrast(Theme.text, over(Theme[wash], Theme[surface]), 4.5, "text on " + wash + " on " + surface);
        for (const wash of [Theme.brand, Theme.listen, Theme.error])
            checkContrast(Theme.text, Theme.washed(wash), 4.5, "text on a banner");
    }
    function test_edgesCanBeSeen(data) {
        Theme.dark = data.dark;
        for (const edge of ["track", "focus"])
            for (const surface of surfaces)
                checkContrast(Theme[edge], Theme[surface], 3, edge + " on " + surface);
        checkContrast(Theme.brand, Theme.card, 3, "a switch that is on");
        checkContrast(Theme.error, over(Theme.highlight, Theme.popup), 3, "the icon of a destructive action, reached");
        checkContrast(Theme.brandInk, Theme.brand, 3, "the knob of a switch");
        for (const [mark, wash] of [["brandText", "brand"], ["warning", "listen"], ["error", "error"]])
            checkContrast(Theme[mark], Theme.washed(Theme[wash]), 3, "the icon of a banner");
    }
    // As it is drawn, beside the letters, with the pointer away, over it, and down.
    function checkDrawn(item, from, to, what) {
        const look = state => {
            waitForRendering(item);
            const picture = grabImage(item);
            for (let x = from; x <= to; x += 2)
                checkContrast(item.ink, picture.pixel(x, 5), 4.5, what + " at " + x + ", " + state);
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
        item.destroy();
        wait(0);
    }
    function test_labelsOfButtonsCanBeRead(data) {
        Theme.dark = data.dark;
        for (const width of [208, 500])
            for (const text of ["Bắt đầu", "Một câu dài hơn cả nút này và còn dài hơn nữa"]) {
                const start = createTemporaryObject(startButton, test, { width, text });
                const words = start.contentItem.children[0];
                checkDrawn(start, Math.round(words.x), Math.round(words.x + words.width), text);
            }
        for (const kind of [Button.Plain, Button.Filled, Button.Destructive]) {
            const item = createTemporaryObject(button, test, { kind });
            checkDrawn(item, 12, item.width - 12, "kind " + kind);
        }
    }
}
