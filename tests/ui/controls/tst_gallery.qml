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

    readonly property var icons: iconNames.filter(name => name !== "app")

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
}
