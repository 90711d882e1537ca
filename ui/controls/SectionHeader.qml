import QtQuick

Label {
    kind: Label.Row
    font.weight: Theme.weightStrong
    Accessible.role: Accessible.Heading
}
