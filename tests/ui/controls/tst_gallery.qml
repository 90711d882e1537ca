import QtQuick
import QtTest
import Lingrelay.Controls

TestCase {
    id: test

    name: "Gallery"
    when: windowShown
    visible: true
    width: 1120
    height: 1640

    Component {
        id: component

        Gallery {
            iconNames: test.icons
        }
    }

    Component {
        id: trayIcon

        Rectangle {
            property string name
            property int size

            width: size
            height: size

            Image {
                anchors.fill: parent
                sourceSize: Qt.size(parent.size, parent.size)
                source: "qrc:/qt/qml/Lingrelay/Controls/icons/" + parent.name + ".svg"
            }
        }
    }

    readonly property var icons: iconNames.filter(name => !name.startsWith("app"))

    function cleanup() {
        Theme.dark = false;
    }
    function test_shows_data() {
        return [{ tag: "light", dark: false }, { tag: "dark", dark: true }];
    }
    function test_shows(data) {
        failOnWarning(/.*/);
        Theme.reducedMotion = true;
        Theme.dark = data.dark;
        const gallery = createTemporaryObject(component, test);
        waitForRendering(gallery);
        verify(gallery.implicitHeight > 0);
        Pictures.save(gallery.Window.window, "gallery-" + data.tag);
    }
    // Which pixels differ from the bar under them; a tray may be light or dark.
    function test_trayIconsShowOnEveryBar_data() {
        const rows = [];
        for (const color of ["#ffffff", "#dedede", "#2d2d2d", "#000000"])
            for (const size of [16, 22, 24, 32])
                rows.push({ tag: color + " " + size, color, size });
        return rows;
    }
    function test_trayIconsShowOnEveryBar(data) {
        const luminance = colour => {
            const linear = part => part <= 0.04045 ? part / 12.92 : Math.pow((part + 0.055) / 1.055, 2.4);
            return 0.2126 * linear(colour.r) + 0.7152 * linear(colour.g) + 0.0722 * linear(colour.b);
        };
        const seen = name => {
            const icon = createTemporaryObject(trayIcon, test, { name, size: data.size, color: data.color });
            waitForRendering(icon);
            const picture = grabImage(icon);
            const ground = luminance(picture.pixel(0, 0));
            let pixels = "";
            for (let y = 0; y < data.size; ++y)
                for (let x = 0; x < data.size; ++x) {
                    const lights = [luminance(picture.pixel(x, y)), ground].sort((a, b) => b - a);
                    pixels += (lights[0] + 0.05) / (lights[1] + 0.05) >= 2.5 ? "#" : ".";
                }
            return pixels;
        };
        const share = pixels => pixels.split("#").length / pixels.length;
        const idle = seen("app-idle");
        const running = seen("app-running");
        verify(share(idle) > 0.15, "idle: " + idle);
        verify(share(running) > 0.4, "running: " + running);
        let differing = 0;
        for (let i = 0; i < idle.length; ++i)
            differing += idle[i] !== running[i];
        verify(differing > idle.length / 6, "they look alike");
    }
}
