import QtQuick

Label {
    kind: Label.Secondary
}
