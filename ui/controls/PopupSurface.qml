import QtQuick

/// What lists and menus lie on when they open above the page.
Rectangle {
    radius: Theme.radiusControl + 2
    color: Theme.popup
    border.color: Theme.track
}
