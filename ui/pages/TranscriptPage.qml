import QtQuick
import QtQuick.Layouts
import Lingrelay.Controls
import Lingrelay.Model

Item {
    id: page

    ColumnLayout {
        anchors { fill: parent; margins: Theme.space5 }
        spacing: Theme.space3

        RowLayout {
            spacing: Theme.space2

            SectionHeader {
                Layout.fillWidth: true
                text: T("Session record", "Bản ghi phiên")
            }
            Segmented {
                label: T("Show", "Hiện")
                model: [
                    { value: "all", text: T("Both", "Cả hai") },
                    { value: "listen", text: T("Them", "Họ") },
                    { value: "speak", text: T("You", "Bạn") }
                ]
                value: Transcript.filter
                onPicked: value => Transcript.filter = value
            }
            Button {
                id: exportButton

                iconName: "export"
                text: T("Export", "Xuất")
                enabled: !Transcript.empty
                Accessible.role: Accessible.ButtonMenu
                onClicked: exportMenu.popupAt(exportButton)
            }
            Button {
                iconName: "copy"
                text: T("Copy", "Chép")
                enabled: !Transcript.empty
                onClicked: Desktop.copy(App.transcriptAs("txt"))
            }
            Button {
                kind: Button.Destructive
                iconName: "trash"
                text: T("Clear", "Xoá")
                enabled: !Transcript.empty
                onClicked: App.clearTranscript()
            }
        }
        Label {
            id: notice

            Layout.fillWidth: true
            visible: text.length > 0
            kind: Label.Secondary
        }
        Card {
            Layout.fillWidth: true
            Layout.fillHeight: true

            Item {
                Layout.fillWidth: true
                Layout.fillHeight: true

                EmptyState {
                    anchors.centerIn: parent
                    width: Math.min(parent.width - 2 * Theme.space5, 420)
                    visible: Transcript.count === 0
                    iconName: "transcript"
                    title: T("Nothing recorded yet", "Chưa có nội dung")
                    hint: T("Start translating and every line will be kept here.", "Bắt đầu dịch, mọi câu sẽ được giữ lại ở đây.")
                }
                LinesView {
                    anchors { fill: parent; margins: Theme.space2 }
                    lines: Transcript
                    following: true
                    name: T("Session record", "Bản ghi phiên")
                }
            }
        }
    }

    Menu {
        id: exportMenu

        items: [
            { text: T("Text", "Văn bản"), iconName: "transcript", enabled: true },
            { text: T("Subtitles", "Phụ đề"), iconName: "captions", enabled: true }
        ]
        onPicked: index => {
            const extension = index === 0 ? "txt" : "srt";
            Desktop.save(App.transcriptAs(extension), extension);
        }
    }
    Connections {
        target: Desktop

        function onSaved(path) {
            notice.text = T("Saved: ", "Đã lưu: ") + path;
        }
        function onSaveFailed(reason) {
            notice.text = T("The file could not be written: ", "Không ghi được tệp: ") + reason;
        }
    }
}
