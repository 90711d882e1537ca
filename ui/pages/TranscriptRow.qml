import QtQuick
import QtQuick.Layouts
import Lingrelay.Controls

/// One line of a transcript: when, who, what was said and what it means.
Item {
    id: row

    required property string at
    required property bool heard ///< from the other side
    required property string speaker
    required property string source
    required property string translation

    readonly property string who: heard ? T("Them", "Họ") : T("You", "Bạn")

    implicitHeight: texts.implicitHeight + 2 * Theme.space2

    Rectangle {
        anchors { left: parent.left; top: parent.top; bottom: parent.bottom; topMargin: Theme.space2; bottomMargin: Theme.space2 }
        width: 3
        radius: 1.5
        color: row.heard ? Theme.listen : Theme.speak
    }
    ColumnLayout {
        anchors { left: parent.left; top: parent.top; leftMargin: Theme.space3; topMargin: Theme.space2 }
        width: 72
        spacing: 2

        Label {
            kind: Label.Caption
            color: Theme.secondary
            text: row.at
            font.family: Theme.digits
        }
        Label {
            Layout.fillWidth: true
            kind: Label.Caption
            color: row.heard ? Theme.listenText : Theme.speakText
            font.weight: Theme.weightStrong
            text: row.speaker.length > 0 ? row.who + " " + row.speaker : row.who
        }
    }
    component Words: SelectableText {
        Layout.fillWidth: true
        visible: text.length > 0
        activeFocusOnTab: false // the list is one stop, however many rows it has
        onActiveFocusChanged: if (!activeFocus) focus = false // the next time Tab brings the list, not this row
    }

    ColumnLayout {
        id: texts

        anchors { left: parent.left; right: parent.right; top: parent.top; leftMargin: 96; topMargin: Theme.space2; rightMargin: Theme.space2 }
        spacing: 2

        Words {
            text: row.source
            color: Theme.secondary
        }
        Words {
            kind: Label.Row
            text: row.translation
        }
    }
}
