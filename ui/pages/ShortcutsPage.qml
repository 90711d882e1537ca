import QtQuick
import QtQuick.Layouts
import Lingrelay.Controls
import Lingrelay.Model

ScrollPage {
    id: page

    component Keys: Row {
        id: keys

        property var caps

        spacing: Theme.space1
        Accessible.role: Accessible.StaticText
        Accessible.name: caps.join(" + ")

        Repeater {
            model: keys.caps

            Rectangle {
                required property string modelData

                width: Math.max(height, cap.implicitWidth + 2 * Theme.space2)
                height: 26
                radius: 6
                color: Theme.window
                border.color: Theme.track

                Label {
                    id: cap

                    anchors.centerIn: parent
                    kind: Label.Caption
                    wrapMode: Text.NoWrap
                    text: parent.modelData
                    Accessible.ignored: true
                }
            }
        }
    }

    Section {
        Layout.fillWidth: true
        title: T("Window", "Cửa sổ")

        FormRow {
            iconName: "play"
            title: T("Start / stop translating", "Bắt đầu / dừng dịch")
            hint: T("Works while the window is focused.", "Dùng khi cửa sổ đang được chọn.")

            Keys {
                caps: ["Ctrl", "Enter"]
            }
        }
        FormRow {
            iconName: "replay"
            title: T("Say that again", "Nghe lại câu vừa rồi")
            hint: T("Replays the last translated line to your own speakers — never into the call.", "Phát lại câu dịch cuối ra loa của bạn — không bao giờ vào cuộc gọi.")

            Keys {
                caps: ["Ctrl", "Shift", "R"]
            }
        }
        FormRow {
            iconName: "recap"
            title: T("What did I miss?", "Tôi vừa bỏ lỡ gì?")
            hint: T("Three-sentence recap of the last two minutes, shown in the window.", "Tóm tắt hai phút vừa qua trong ba câu, hiện trong cửa sổ.")

            Keys {
                caps: ["Ctrl", "Shift", "M"]
            }
        }
        FormRow {
            iconName: "gear"
            title: T("Settings", "Cài đặt")

            Keys {
                caps: ["Ctrl", ","]
            }
        }
        FormRow {
            iconName: "minus"
            title: T("Minimise", "Thu nhỏ")

            Keys {
                caps: ["Ctrl", "M"]
            }
        }
        FormRow {
            iconName: "close"
            title: T("Close window", "Đóng cửa sổ")
            hint: Sections.current === "shortcuts" && Shell.staysWhenClosed() ? T("The app keeps running in the tray.", "App vẫn chạy ở khay hệ thống.") : T("There is no tray icon: the app ends, or is minimised while it translates.", "Không có icon ở khay hệ thống: app sẽ thoát, hoặc thu nhỏ nếu đang dịch.")

            Keys {
                caps: ["Ctrl", "W"]
            }
        }
        FormRow {
            iconName: "power"
            title: T("Quit", "Thoát")

            Keys {
                caps: ["Ctrl", "Q"]
            }
        }
    }
}
