import QtQuick
import QtQuick.Layouts
import Lingrelay.Controls
import Lingrelay.Model

ScrollPage {
    id: page

    component LanguagePicker: FormRow {
        id: picker

        property bool includeAuto
        property string code

        signal picked(string code)

        Combo {
            width: 240
            model: picker.includeAuto ? App.sourceLanguages : App.targetLanguages
            value: picker.code
            placeholder: languageName(picker.code)
            searchPrompt: T("Search languages", "Tìm ngôn ngữ")
            emptyText: T("No such language", "Không có ngôn ngữ này")
            onPicked: value => picker.picked(value)
        }
    }

    Section {
        Layout.fillWidth: true
        title: T("Conversation", "Cuộc hội thoại")
        footer: Settings.twoWay ? T("Two-way runs a stream per direction — twice the per-hour cost.", "Hai chiều chạy một luồng cho mỗi hướng — chi phí theo giờ gấp đôi.") : T("One stream runs while translating.", "Chỉ một luồng chạy khi đang dịch.")

        FormRow {
            iconName: "swap"
            title: T("Mode", "Chế độ")

            Segmented {
                model: [
                    { value: "listen", text: T("Listen only", "Chỉ nghe") },
                    { value: "speak", text: T("Speak only", "Chỉ nói") },
                    { value: "both", text: T("Two-way", "Hai chiều") }
                ]
                value: Settings.mode
                onPicked: value => Settings.mode = value
            }
        }
    }
    Section {
        Layout.fillWidth: true
        visible: App.listenLane.shown
        iconName: "ear"
        title: T("Listen — them → you", "Chiều nghe — họ → bạn")

        LanguagePicker {
            title: T("They speak", "Họ nói")
            includeAuto: true
            code: Settings.sourceLang
            onPicked: code => Settings.sourceLang = code
        }
        LanguagePicker {
            title: T("You hear", "Bạn nghe")
            code: Settings.targetLang
            onPicked: code => Settings.targetLang = code
        }
    }
    Section {
        Layout.fillWidth: true
        visible: App.speakLane.shown
        iconName: "mic-plus"
        title: T("Speak — you → them", "Chiều nói — bạn → họ")

        LanguagePicker {
            title: T("You speak", "Bạn nói")
            includeAuto: true
            code: Settings.myLang
            onPicked: code => Settings.myLang = code
        }
        LanguagePicker {
            title: T("They hear", "Họ nghe")
            code: Settings.theirLang
            onPicked: code => Settings.theirLang = code
        }
    }
    Section {
        Layout.fillWidth: true
        title: T("Recognition", "Nhận dạng")
        footer: T("Recognition and translation happen in the same call, so translation costs nothing extra.", "Nhận dạng và dịch nằm trong cùng một lệnh gọi, nên dịch không tính thêm tiền.")

        SwitchRow {
            visible: Settings.twoWay
            iconName: "person-gear"
            title: T("Let the model decide who is speaking", "Để model tự nhận ai đang nói")
            checked: Settings.twoWayAuto
            onMoved: on => Settings.twoWayAuto = on
        }
        SwitchRow {
            iconName: "person-card"
            title: T("Label who said each line", "Ghi nhãn ai nói câu nào")
            checked: Settings.diarization
            onMoved: on => Settings.diarization = on
        }
        SwitchRow {
            iconName: "scissors"
            title: T("Split phrases on natural pauses", "Tách câu theo chỗ ngắt tự nhiên")
            checked: Settings.endpointDetection
            onMoved: on => Settings.endpointDetection = on
        }
        FormRow {
            visible: Settings.endpointDetection
            iconName: "timer"
            title: T("Cut sooner / later", "Ngắt sớm / muộn")

            Slider {
                width: 240
                from: -1
                to: 1
                step: 0.1
                value: Settings.endpointSensitivity
                valueText: Settings.endpointSensitivityText
                onMoved: value => Settings.endpointSensitivity = value
            }
        }
        FormRow {
            visible: Settings.endpointDetection
            iconName: "dial"
            title: T("Latency vs accuracy", "Độ trễ đổi lấy độ chính xác")

            Segmented {
                model: [
                    { value: 0, text: T("Fastest", "Nhanh nhất") },
                    { value: 1, text: "1" },
                    { value: 2, text: "2" },
                    { value: 3, text: T("Most accurate", "Chính xác nhất") }
                ]
                value: Settings.latencyAdjustment
                onPicked: value => Settings.latencyAdjustment = value
            }
        }
        Label {
            Layout.fillWidth: true
            Layout.leftMargin: Theme.indent
            Layout.rightMargin: Theme.space4
            Layout.bottomMargin: Theme.space3
            kind: Label.Secondary
            text: T("Cutting sooner makes the voice start earlier but can clip a trailing word; waiting longer lets the model reconsider what it heard.", "Ngắt sớm thì giọng đọc bắt đầu sớm hơn nhưng có thể mất chữ cuối; chờ lâu hơn để model xét lại điều đã nghe.")
        }
        FormRow {
            visible: App.languageCount.length > 0
            iconName: "globe"
            title: T("Languages supported", "Số ngôn ngữ hỗ trợ")

            Label {
                text: App.languageCount
                color: Theme.secondary
            }
        }
    }
}
