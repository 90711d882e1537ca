import QtQuick
import QtQuick.Layouts
import Lingrelay.Controls
import Lingrelay.Model

/// What the user writes is spoken to the other side.
Section {
    ColumnLayout {
        Layout.fillWidth: true
        Layout.margins: Theme.space4
        spacing: Theme.space3

        RowLayout {
            spacing: Theme.space3

            Icon {
                name: "keyboard"
                color: Theme.secondary
            }
            ColumnLayout {
                spacing: 2

                Label {
                    Layout.fillWidth: true
                    text: T("Type to speak", "Gõ để nói")
                }
                Label {
                    Layout.fillWidth: true
                    kind: Label.Secondary
                    text: T("Written in your language, spoken to them in theirs with your chosen voice. Works without a session running.", "Viết bằng tiếng của bạn, đọc cho họ nghe bằng tiếng của họ với giọng bạn chọn. Dùng được cả khi chưa bắt đầu phiên.")
                }
            }
        }
        RowLayout {
            spacing: Theme.space2

            TextField {
                Layout.fillWidth: true
                placeholderText: T("What do you want to say?", "Bạn muốn nói gì?")
                Accessible.name: T("Type to speak", "Gõ để nói")
                text: App.draft
                onTextEdited: App.draft = text
                onAccepted: App.say()
            }
            Button {
                kind: Button.Filled
                iconName: "paper-plane"
                text: T("Say it", "Nói")
                enabled: App.mayBeSaid
                onClicked: App.say()
            }
        }
    }
}
