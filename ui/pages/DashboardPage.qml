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

        Loader {
            Layout.fillWidth: true
            visible: active
            active: Settings.mode !== "speak"

            sourceComponent: Lane {
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
        }
        Loader {
            Layout.fillWidth: true
            visible: active
            active: Settings.mode !== "listen"

            sourceComponent: Lane {
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
    }

    // Further down than most windows reach: made once the rest is on the screen.
    Loader {
        Layout.fillWidth: true
        visible: !Settings.typeIntoChat
        asynchronous: true
        source: "TypeToSpeak.qml"
    }
    Loader {
        Layout.fillWidth: true
        asynchronous: true
        source: "CallTools.qml"
    }
    Loader {
        Layout.fillWidth: true
        asynchronous: true
        source: "Priming.qml"
    }
}
