import QtQuick
import QtQuick.Layouts
import Lingrelay.Controls
import Lingrelay.Model

ScrollPage {
    id: page

    component DevicePicker: FormRow {
        id: picker

        property var devices
        property string device

        signal picked(string device)

        Combo {
            width: 280
            model: picker.devices
            value: picker.device
            placeholder: T("Not connected", "Chưa kết nối")
            searchPrompt: T("Search", "Tìm")
            emptyText: T("Nothing found", "Không tìm thấy")
            onPicked: value => picker.picked(value)
        }
    }

    Component.onCompleted: App.refreshDevices()

    FlowPicture {
        Layout.fillWidth: true
    }

    Section {
        Layout.fillWidth: true
        iconName: "mic-plus"
        title: T("Speak — you → them", "Chiều nói — bạn → họ")
        subtitle: T("How your voice reaches them", "Giọng bạn đi tới họ bằng đường nào")
        footer: T("Pick “Lingrelay” here, then select the same device as the microphone inside Meet, Zoom or Zalo.", "Chọn “Lingrelay” ở đây, rồi chọn chính thiết bị đó làm micro trong Meet, Zoom hoặc Zalo.")

        DevicePicker {
            iconName: "mic"
            title: T("Your microphone", "Micro của bạn")
            devices: App.microphones
            device: App.microphone
            onPicked: device => App.pickMic(device)
        }
        DevicePicker {
            iconName: "virtual-mic"
            title: T("Send your voice via", "Đẩy giọng cho họ qua")
            devices: App.speakOutputs
            device: App.speakOutput
            onPicked: device => App.pickSpeakOut(device)
        }
    }
    Section {
        Layout.fillWidth: true
        iconName: "ear"
        title: T("Listen — them → you", "Chiều nghe — họ → bạn")
        footer: T("Lingrelay is hidden from this list on purpose: playing the incoming translation into the virtual mic feeds it back into the call and howls.", "Lingrelay được cố ý ẩn khỏi danh sách này: phát bản dịch của họ vào mic ảo sẽ đưa nó ngược lại cuộc gọi và gây hú.")

        DevicePicker {
            iconName: "headphones"
            title: T("Play translation to", "Loa phát bản dịch")
            devices: App.listenOutputs
            device: App.listenOutput
            onPicked: device => App.pickListenOut(device)
        }
    }
    Section {
        Layout.fillWidth: true
        title: T("Check", "Kiểm tra")
        footer: T("Join a test call, set its microphone to Lingrelay, then play the phrase. If the other side hears it, routing is correct.", "Vào một cuộc gọi thử, đặt micro là Lingrelay, rồi phát câu này. Nếu bên kia nghe được thì định tuyến đã đúng.")

        Flow {
            Layout.fillWidth: true
            Layout.margins: Theme.space4
            spacing: Theme.space2

            Button {
                iconName: "play"
                text: T("Play test phrase", "Phát câu kiểm tra")
                enabled: !App.testing
                onClicked: App.testVoice()
            }
            Button {
                iconName: "rotate"
                text: T("Rescan devices", "Quét lại thiết bị")
                onClicked: App.refreshDevices()
            }
        }
    }
}
