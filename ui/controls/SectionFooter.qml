import QtQuick
import QtQuick.Layouts

/// A word about the settings above it, in a column.
Label {
    kind: Label.Secondary
    Layout.fillWidth: true
    Layout.leftMargin: Theme.space1
    Layout.rightMargin: Theme.space1
}
