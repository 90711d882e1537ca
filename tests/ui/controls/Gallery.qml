import QtQuick
import QtQuick.Layouts
import Lingrelay.Controls

/// Every control and icon, each in its states, for the eye.
Rectangle {
    id: gallery

    property var iconNames: []
    property string chosen: "b"
    property string language: "vi"
    property bool on: true
    property real speed: 1.2

    readonly property string longText: "Đặt micro hệ thống về Lingrelay trong lúc nói và trả lại như cũ khi dừng phiên dịch"
    readonly property var languages: ["Tiếng Việt", "English", "日本語", "Deutsch", "Français", "Español", "Italiano", "한국어", "中文", "Português", "Polski", "Nederlands", "Svenska", "Türkçe"].map((text, index) => ({ value: index === 0 ? "vi" : text, text, mark: index < 2 ? "Recommended" : "" }))

    width: 1120
    implicitHeight: columns.implicitHeight + 2 * Theme.space5
    color: Theme.window

    RowLayout {
        id: columns

        anchors { left: parent.left; right: parent.right; top: parent.top; margins: Theme.space5 }
        spacing: Theme.space5

        ColumnLayout {
            Layout.preferredWidth: 1
            Layout.fillWidth: true
            Layout.alignment: Qt.AlignTop
            spacing: Theme.space5

            Section {
                Layout.fillWidth: true
                iconName: "gear"
                title: "Rows"
                footer: "What the rows above mean, in one sentence, under their card. " + gallery.longText + "."

                SwitchRow { iconName: "power"; title: "Open at login"; checked: gallery.on; onMoved: on => gallery.on = on }
                SwitchRow { iconName: "captions"; title: gallery.longText; hint: gallery.longText; checked: !gallery.on }
                SwitchRow { iconName: "tray"; title: "Not now"; hint: "Needs a tray"; enabled: false; checked: true }
                FormRow {
                    iconName: "globe"
                    title: "Language"

                    Combo { width: 220; model: gallery.languages; value: gallery.language; onPicked: value => gallery.language = value }
                }
                FormRow {
                    iconName: "dial"
                    title: "Speed"

                    Slider { from: 0.5; to: 2; step: 0.1; value: gallery.speed; valueText: gallery.speed.toFixed(1) + "×"; onMoved: value => gallery.speed = value }
                }
                FormRow {
                    iconName: "bubble"
                    title: "Size"
                    hint: "Of the captions"

                    Segmented { model: [{ value: "a", text: "Small" }, { value: "b", text: "Medium" }, { value: "c", text: "Lớn hơn" }]; value: gallery.chosen; onPicked: value => gallery.chosen = value }
                }
            }
            Section {
                Layout.fillWidth: true
                Layout.maximumWidth: 330
                title: "Narrow"

                SwitchRow { title: gallery.longText; checked: true }
                FormRow {
                    iconName: "headphones"
                    title: "Phát bản dịch tới"
                    hint: gallery.longText

                    Combo { width: 280; model: gallery.languages; placeholder: "Not connected" }
                }
                FormRow {
                    title: "Khung phụ đề"

                    Button { text: "Về vị trí mặc định" }
                }
            }
            Section {
                Layout.fillWidth: true
                title: "Text"

                ColumnLayout {
                    Layout.fillWidth: true
                    Layout.margins: Theme.space4
                    spacing: Theme.space2

                    Label { kind: Label.Number; text: "1:27:40" }
                    Label { kind: Label.Title; text: "Nhật ký phiên dịch" }
                    Label { kind: Label.Row; text: "Row title · Tiêu đề dòng · 行の見出し" }
                    Label { Layout.fillWidth: true; text: "Body: " + gallery.longText }
                    Label { Layout.fillWidth: true; kind: Label.Secondary; text: "Secondary: " + gallery.longText }
                    Label { kind: Label.Caption; text: "Caption 😀 한국어" }
                    Label { enabled: false; text: "Disabled" }
                    SelectableText { Layout.fillWidth: true; kind: Label.Row; text: "Selectable: " + gallery.longText; Component.onCompleted: select(12, 30) }
                }
            }
            Card {
                Layout.fillWidth: true

                EmptyState {
                    Layout.fillWidth: true
                    Layout.margins: Theme.space5
                    iconName: "transcript"
                    title: "Nothing yet"
                    hint: "Start the translation, and what is said comes here."
                }
            }
        }
        ColumnLayout {
            Layout.preferredWidth: 1
            Layout.fillWidth: true
            Layout.alignment: Qt.AlignTop
            spacing: Theme.space5

            Banner { Layout.fillWidth: true; kind: Banner.Info; iconName: "info"; title: "A new version is ready"; text: "It is used from the next launch on." }
            Banner { Layout.fillWidth: true; kind: Banner.Warning; iconName: "warning"; title: "No sound comes in"; text: gallery.longText; buttonText: "Open devices" }
            Banner { Layout.fillWidth: true; kind: Banner.Error; iconName: "error"; title: "The service refused the key"; buttonText: "Retry" }
            Section {
                title: "Buttons"
                Layout.fillWidth: true

                Flow {
                    Layout.fillWidth: true
                    Layout.margins: Theme.space4
                    spacing: Theme.space2

                    Button { text: "Plain" }
                    Button { text: "Filled"; kind: Button.Filled }
                    Button { text: "Delete"; kind: Button.Destructive; iconName: "trash" }
                    Button { text: "Quiet"; kind: Button.Quiet; iconName: "copy" }
                    Button { iconName: "rotate"; toolTip: "Rescan" }
                    Button { iconName: "export"; toolTip: "Export"; kind: Button.Quiet }
                    Button { text: "Plain"; enabled: false; iconName: "play" }
                    Button { text: "Filled"; kind: Button.Filled; enabled: false }
                    Button { text: "Focused"; Component.onCompleted: forceActiveFocus(Qt.TabFocusReason) }
                    Button { text: gallery.longText; width: 240 }
                }
                RowLayout {
                    Layout.margins: Theme.space4
                    Layout.topMargin: 0
                    spacing: Theme.space3

                    StartButton { Layout.preferredWidth: 190; text: "Bắt đầu dịch" }
                    StartButton { Layout.preferredWidth: 190; running: true; text: "Stop" }
                }
                RowLayout {
                    Layout.margins: Theme.space4
                    Layout.topMargin: 0
                    spacing: Theme.space3

                    Switch { label: "On"; checked: true }
                    Switch { label: "Off"; checked: false }
                    Switch { label: "On"; checked: true; enabled: false }
                    Switch { label: "Off"; checked: false; enabled: false }
                    StatusDot { color: Theme.good; shape: StatusDot.Dot }
                    StatusDot { color: Theme.secondary; shape: StatusDot.Ring }
                    StatusDot { color: Theme.warning; shape: StatusDot.Triangle }
                    StatusDot { color: Theme.error; shape: StatusDot.Cross }
                }
                RowLayout {
                    Layout.margins: Theme.space4
                    Layout.topMargin: 0
                    spacing: Theme.space2

                    Chip { text: "Lingrelay"; removable: true }
                    Chip { text: "Nguyễn Thị Hồng" }
                }
            }
            Section {
                Layout.fillWidth: true
                title: "Fields"

                ColumnLayout {
                    Layout.fillWidth: true
                    Layout.margins: Theme.space4
                    spacing: Theme.space3

                    TextField { Layout.fillWidth: true; placeholderText: "Để trống để dùng dịch vụ có sẵn" }
                    TextField { label: "Words"; Layout.fillWidth: true; text: "Văn bản có nút xoá"; clearable: true }
                    TextField { Layout.fillWidth: true; label: "Key"; text: "a secret key"; secure: true }
                    SearchField { Layout.fillWidth: true; placeholderText: "Search" }
                    TextField { Layout.fillWidth: true; label: "Off"; text: "Disabled"; enabled: false }
                    RowLayout {
                        spacing: Theme.space3

                        Combo { label: "Language"; Layout.fillWidth: true; model: gallery.languages; value: "vi" }
                        Combo { label: "Language"; Layout.fillWidth: true; model: gallery.languages; value: "vi"; enabled: false }
                    }
                    Slider { label: "Pitch"; Layout.fillWidth: true; from: -10; to: 10; step: 1; value: 4; valueText: "+4" }
                    Slider { label: "Volume"; Layout.fillWidth: true; value: 0.5; valueText: "50%"; enabled: false }
                    Segmented { Layout.fillWidth: true; model: [{ value: 1, text: "Listen" }, { value: 2, text: "Speak" }, { value: 3, text: "Both" }]; value: 3 }
                    Segmented { enabled: false; model: [{ value: 1, text: "On" }, { value: 2, text: "Off" }]; value: 1 }
                }
            }
            Card {
                Layout.fillWidth: true
                tint: Theme.listen
                padding: Theme.space4

                Label { kind: Label.Row; text: "A tinted card" }
                MeterRow { Layout.fillWidth: true; Layout.topMargin: Theme.space3; iconName: "headphones"; label: "Headphones"; level: 0.62; tint: Theme.listen }
                MeterRow { Layout.fillWidth: true; Layout.topMargin: Theme.space3; iconName: "mic"; label: "Microphone"; level: 0.3; tint: Theme.speak }
            }
            Section {
                Layout.fillWidth: true
                title: "Icons"

                Grid {
                    Layout.margins: Theme.space4
                    columns: 12
                    spacing: 18

                    Repeater {
                        model: gallery.iconNames

                        Icon { required property string modelData; name: modelData }
                    }
                }
            }
        }
    }
}
