import QtQuick
import QtTest
import Lingrelay.Controls

/// What the cases of views share. No warning of the engine is let through.
TestCase {
    readonly property Item reached: Window.activeFocusItem

    when: windowShown
    visible: true
    width: 500
    height: 400

    function init() {
        failOnWarning(/^(?!This plugin does not support)/);
        Theme.reducedMotion = true;
    }
    function place(item, within) {
        return item.mapToItem(within, Qt.rect(0, 0, item.width, item.height));
    }
    /// The first on show that is wanted.
    function find(item, wanted) {
        if (!item.visible)
            return null;
        if (wanted(item))
            return item;
        for (let i = 0; i < item.children.length; ++i) {
            const found = find(item.children[i], wanted);
            if (found)
                return found;
        }
        return null;
    }
    function all(item, wanted) {
        const found = [];
        find(item, part => {
            if (wanted(part))
                found.push(part);
            return false;
        });
        return found;
    }
    function named(item, name) {
        return find(item, part => Reader.name(part) === name);
    }
    function type(text) {
        for (const letter of text)
            keyClick(letter);
    }
}
