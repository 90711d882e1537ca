import QtQuick
import QtQuick.Layouts
import Lingrelay.Controls
import Lingrelay.Model

/// A question with two answers. Closing it is the second one.
Sheet {
    id: sheet

    property var question: ({})

    title: question.title ?? ""
    onOpened: first.forceActiveFocus(Qt.PopupFocusReason)
    onClosed: Shell.answer(false)

    Label {
        Layout.fillWidth: true
        text: sheet.question.body ?? ""
    }
    footer: RowLayout {
        spacing: Theme.space2

        Item {
            Layout.fillWidth: true
        }
        Button {
            text: sheet.question.second ?? ""
            onClicked: sheet.close()
        }
        Button {
            id: first

            kind: Button.Filled
            text: sheet.question.first ?? ""
            onClicked: {
                Shell.answer(true);
                sheet.close();
            }
        }
    }
}
