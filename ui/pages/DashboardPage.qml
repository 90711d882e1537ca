import QtQuick
import QtQuick.Layouts
import Lingrelay.Controls
import Lingrelay.Model

ScrollPage {
    id: page

    readonly property bool inPerson: Settings.forceTwoWay
    readonly property var scenarioIcons: ({
            videoCall: "video",
            watchVideo: "play-rectangle",
            inPerson: "people"
        })

    function say() {
        if (!sayButton.enabled)
            return;
        App.typeToSpeak(typed.text);
        typed.clear();
    }

    Banner {
        Layout.fillWidth: true
        visible: App.devicesKnown && !App.virtualInstalled
        kind: Banner.Warning
        iconName: "warning"
        title: T("Virtual microphone not installed", "Chưa cài mic ảo")
        text: T("Without it the other side cannot hear your translated voice.", "Không có nó, bên kia không nghe được bản dịch của bạn.")
        buttonText: T("Install", "Cài đặt")
        onClicked: App.installDriver()
    }

    ColumnLayout {
        Layout.fillWidth: true
        spacing: Theme.space2

        SectionHeader {
            text: T("Set up for", "Thiết lập cho")
        }
        GridLayout {
            Layout.fillWidth: true
            columns: 3
            columnSpacing: Theme.space3
            rowSpacing: Theme.space3

            Repeater {
                model: App.presets

                ScenarioCard {
                    required property var modelData

                    Layout.fillWidth: true
                    Layout.fillHeight: true
                    Layout.preferredWidth: 1
                    text: modelData.text
                    subtitle: modelData.subtitle
                    iconName: page.scenarioIcons[modelData.value]
                    chosen: Settings.preset === modelData.value
                    onClicked: App.applyPreset(modelData.value)
                }
            }
        }
        SectionFooter {
            text: T("Picks mode, languages routing and echo settings in one go. You can still fine-tune afterwards.", "Chọn chế độ, định tuyến ngôn ngữ và chống vọng trong một lần. Sau đó bạn vẫn chỉnh chi tiết được.")
        }
    }

    ColumnLayout {
        Layout.fillWidth: true
        spacing: Theme.space3

        Lane {
            Layout.fillWidth: true
            visible: Settings.mode !== "speak"
            title: T("Listen — they speak, you understand", "Nghe — họ nói, bạn hiểu")
            iconName: "ear"
            tint: Theme.listen
            textTint: Theme.listenText
            from: languageName(Settings.sourceLang)
            to: languageName(Settings.targetLang)
            inLabel: T("System audio", "Âm thanh hệ thống")
            inIcon: "computer"
            inLevel: App.systemLevel
            outLabel: T("Your speakers", "Loa của bạn")
            outIcon: "headphones"
            outLevel: App.listenOutLevel
            source: App.listenOriginal
            translated: App.listenTranslated
        }
        Lane {
            Layout.fillWidth: true
            visible: Settings.mode !== "listen"
            title: page.inPerson ? T("In person — both of you, one computer", "Gặp trực tiếp — hai người, một máy") : T("Speak — you talk, they understand", "Nói — bạn nói, họ hiểu")
            iconName: page.inPerson ? "people" : "mic-plus"
            tint: Theme.speak
            textTint: Theme.speakText
            from: languageName(Settings.myLang)
            to: languageName(Settings.theirLang)
            bidirectional: page.inPerson
            inLabel: page.inPerson ? T("Mic (both of you)", "Mic (cả hai người)") : T("Your microphone", "Micro của bạn")
            inIcon: "mic"
            inLevel: App.micLevel
            outLabel: page.inPerson ? T("Speakers", "Loa ngoài") : T("Virtual mic → call", "Mic ảo → cuộc gọi")
            outIcon: page.inPerson ? "speaker" : "virtual-mic"
            outLevel: App.speakOutLevel
            translated: App.speakTranslated
        }
    }

    Section {
        Layout.fillWidth: true
        visible: !Settings.typeIntoChat

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
                    onAccepted: page.say()
                }
                Button {
                    id: sayButton

                    kind: Button.Filled
                    iconName: "paper-plane"
                    text: T("Say it", "Nói")
                    enabled: !App.typing && typed.text.trim().length > 0
                    onClicked: page.say()
                }
            }
        }
    }

    Section {
        Layout.fillWidth: true
        title: T("During the call", "Trong cuộc gọi")
        footer: T("Replay goes to your own speakers only. The recap covers the last two minutes.", "Câu nghe lại chỉ phát ra loa của bạn. Phần tóm lược gồm hai phút vừa qua.")

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

    Section {
        Layout.fillWidth: true
        title: T("Priming", "Chuẩn bị trước")
        footer: T("Declaring the subject makes the model pick domain wording instead of translating literally.", "Khai báo chủ đề giúp model chọn đúng cách nói chuyên ngành thay vì dịch theo nghĩa đen.")

        FormRow {
            iconName: "book"
            title: T("Context profile", "Hồ sơ chủ đề")

            Label {
                text: App.profileName
                color: Theme.secondary
            }
        }
        FormRow {
            visible: App.profileCounts.length > 0
            iconName: "terms"
            title: T("Terms · forced pairs", "Thuật ngữ · cặp ép dịch")

            Label {
                text: App.profileCounts
                color: Theme.secondary
            }
        }
    }
}
