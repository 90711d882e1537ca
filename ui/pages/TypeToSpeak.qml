import QtQuick
import QtQuick.Layouts
import Lingrelay.Controls
import Lingrelay.Model

/// What the user writes is spoken to the other side.
Section {
    id: root

    function say() {
        if (typed.text.trim().length === 0)
            return;
        App.typeToSpeak(typed.text);
        typed.clear();
    }

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
                id: typed

                Layout.fillWidth: true
                placeholderText: T("What do you want to say?", "Bạn muốn nói gì?")
                Accessible.name: T("Type to speak", "Gõ để nói")
                onAccepted: root.say()
            }
            Button {
                kind: Button.Filled
                iconName: "paper-plane"
                text: T("Say it", "Nói")
                enabled: !App.typing && typed.text.trim().length > 0
                onClicked: root.say()
            }
        }
    }
}
