import QtQuick
import QtQuick.Layouts
import Lingrelay.Controls
import Lingrelay.Model

/// To catch up with the conversation.
Section {
    title: T("During the call", "Trong cuộc gọi")
    footer: T("Replay goes to your own speakers only. The recap covers the last two minutes.", "Câu nghe lại chỉ phát ra loa của bạn. Phần tóm tắt gồm hai phút vừa qua.")

    ColumnLayout {
        Layout.fillWidth: true
        Layout.margins: Theme.space4
        spacing: Theme.space3

        Flow {
            Layout.fillWidth: true
            spacing: Theme.space2

            Button {
                iconName: "replay"
                text: T("Say that again", "Nghe lại câu vừa rồi")
                onClicked: App.replayLast()
            }
            Button {
                iconName: "recap"
                text: App.summarizing ? T("Summarising…", "Đang tóm tắt…") : T("What did I miss?", "Tôi vừa bỏ lỡ gì?")
                enabled: !App.summarizing
                onClicked: App.summarizeRecent()
            }
            Label {
                height: Theme.controlHeight
                verticalAlignment: Text.AlignVCenter
                leftPadding: Theme.space2
                kind: Label.Secondary
                wrapMode: Text.NoWrap
                text: "Ctrl+Shift+R · Ctrl+Shift+M"
            }
        }
        SelectableText {
            Layout.fillWidth: true
            visible: text.length > 0
            text: App.quickSummary
        }
    }
}
