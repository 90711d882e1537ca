import QtQuick
import QtQuick.Layouts
import Lingrelay.Controls
import Lingrelay.Model

ScrollPage {
    id: page

    property bool drawn ///< for the first time

    Connections {
        target: page.Window.window
        enabled: !page.drawn

        function onAfterAnimating() {
            page.drawn = true;
        }
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
                    iconName: modelData.icon
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

        Repeater {
            model: [App.listenLane, App.speakLane]

            Loader {
                id: place

                required property QtObject modelData

                Layout.fillWidth: true
                visible: active
                active: modelData.shown
                sourceComponent: LaneCard {
                    lane: place.modelData
                }
            }
        }
    }

    // Further down than most windows reach: made once the rest is on the screen.
    Loader {
        Layout.fillWidth: true
        visible: !Settings.typeIntoChat
        active: page.drawn
        asynchronous: true
        source: "TypeToSpeak.qml"
    }
    Loader {
        Layout.fillWidth: true
        active: page.drawn
        asynchronous: true
        source: "CallTools.qml"
    }
    Loader {
        Layout.fillWidth: true
        active: page.drawn
        asynchronous: true
        source: "Priming.qml"
    }
}
