import QtQuick
import QtQuick.Layouts
import Lingrelay.Controls
import Lingrelay.Model

ScrollPage {
    id: page

    Section {
        Layout.fillWidth: true
        title: T("Appearance", "Giao diện")
        footer: T("The window follows your system light or dark setting.", "Cửa sổ theo chế độ sáng/tối của hệ thống.")

        FormRow {
            iconName: "bubble"
            title: T("Interface language", "Ngôn ngữ giao diện")

            Segmented {
                model: [
                    { value: "en", text: "English" },
                    { value: "vi", text: "Tiếng Việt" }
                ]
                value: App.english ? "en" : "vi"
                onPicked: value => Settings.uiLang = value
            }
        }
    }
    Section {
        Layout.fillWidth: true
        title: T("Startup & windows", "Khởi động & cửa sổ")
        footer: T("Drag the panel to move it, drag its edges or corner to resize; text wraps and scales to fit. Double-click it to reset.", "Kéo khung để di chuyển, kéo cạnh hoặc góc để đổi cỡ; chữ tự xuống dòng và co giãn cho vừa. Nhấp đúp để đặt lại.")

        SwitchRow {
            iconName: "power"
            title: T("Open at login", "Mở khi đăng nhập")
            checked: Shell.launchAtLogin
            onMoved: on => Shell.launchAtLogin = on
        }
        SwitchRow {
            iconName: "captions"
            title: T("Show floating captions", "Hiện khung phụ đề nổi")
            checked: Settings.showOverlay
            onMoved: on => Settings.showOverlay = on
        }
        FormRow {
            iconName: "reset"
            title: T("Captions panel", "Khung phụ đề")

            Button {
                text: T("Reset position", "Về vị trí mặc định")
                onClicked: Shell.resetCaptions()
            }
        }
        SwitchRow {
            iconName: "voice"
            title: T("Let screen readers read finished captions", "Cho trình đọc màn hình đọc các phụ đề hoàn chỉnh")
            checked: Captions.announce
            onMoved: on => Captions.announce = on
        }
        SwitchRow {
            iconName: "tray"
            title: T("Show tray icon", "Hiện icon ở khay hệ thống")
            checked: Settings.menuBarIcon
            onMoved: on => Settings.menuBarIcon = on
        }
    }
    Section {
        Layout.fillWidth: true
        title: T("Audio behaviour", "Hành vi âm thanh")
        footer: T("Echo guard mutes the microphone while a translation is playing, so speakers don't create a feedback loop. With headphones, leave it off — it can clip words when both people talk at once.", "Chống vọng tắt micro trong lúc phát bản dịch, để loa ngoài không tạo vòng lặp. Nếu đeo tai nghe thì nên tắt — nó có thể làm mất chữ khi hai người cùng nói.")

        SwitchRow {
            iconName: "speaker"
            title: T("Speak the translation aloud", "Đọc bản dịch thành tiếng")
            checked: Settings.tts
            onMoved: on => Settings.tts = on
        }
        SwitchRow {
            iconName: "speaker-off"
            title: T("Mute the original audio while listening", "Tắt giọng gốc khi nghe")
            checked: Settings.muteOriginal
            onMoved: on => Settings.muteOriginal = on
        }
        SwitchRow {
            iconName: "echo-guard"
            title: T("Echo guard for speaker mode", "Chống vọng khi dùng loa ngoài")
            checked: Settings.echoGuard
            onMoved: on => Settings.echoGuard = on
        }
    }
    Section {
        Layout.fillWidth: true
        title: T("Speak direction", "Chiều nói")

        SwitchRow {
            iconName: "swap"
            title: T("Set system microphone to Lingrelay while speaking", "Đặt mic hệ thống = Lingrelay khi nói")
            checked: Settings.autoRouteMic
            onMoved: on => Settings.autoRouteMic = on
        }
    }
    Section {
        Layout.fillWidth: true
        title: T("Your own Soniox key", "Khoá Soniox của riêng bạn")
        footer: App.ownKey.length > 0 ? T("Your key is used from the next connection on.", "Khoá của bạn được dùng từ lần kết nối tiếp theo.") : ""

        ColumnLayout {
            Layout.fillWidth: true
            Layout.margins: Theme.space4
            spacing: Theme.space3

            TextField {
                Layout.fillWidth: true
                secure: true
                placeholderText: T("Leave empty to use the hosted service", "Để trống để dùng dịch vụ có sẵn")
                label: T("Your own Soniox key", "Khoá Soniox của riêng bạn")
                text: App.ownKey
                onTextEdited: {
                    App.ownKey = text;
                    pause.restart();
                }
                onEditingFinished: App.adoptOwnKey()

                Timer {
                    id: pause

                    interval: 300 // whole keys are pasted
                    onTriggered: App.adoptOwnKey()
                }
            }
        }
    }
}
