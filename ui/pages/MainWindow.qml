import QtQuick
import QtQuick.Layouts
import Lingrelay.Controls
import Lingrelay.Model

Window {
    id: window

    title: Sections.title
    width: 1060
    height: 700
    minimumWidth: 800
    minimumHeight: 560
    color: Theme.window
    onClosing: close => close.accepted = Shell.mayClose()

    /// A question that waits for an answer; the program asks one at a time.
    function ask(question) {
        questionSheet.active = true;
        questionSheet.item.question = question;
        questionSheet.item.open();
    }
    function endQuestion() {
        questionSheet.item.close();
    }

    RowLayout {
        anchors.fill: parent
        spacing: 0

        Sidebar {
            Layout.preferredWidth: 232
            Layout.fillHeight: true
        }
        ColumnLayout {
            spacing: 0

            Toolbar {
                Layout.fillWidth: true
            }
            Loader {
                Layout.fillWidth: true
                Layout.margins: Theme.space3
                Layout.bottomMargin: 0
                visible: active
                active: App.banner.length > 0
                sourceComponent: Banner {
                    kind: Banner.Warning
                    iconName: "warning"
                    title: App.banner
                }
            }
            StackLayout {
                Layout.fillWidth: true
                Layout.fillHeight: true
                currentIndex: Sections.currentIndex

                Repeater {
                    model: Sections.pages

                    Loader {
                        required property int index
                        required property string modelData

                        // A page is made when it is first shown, and stays with what was typed into it.
                        active: false
                        StackLayout.onIsCurrentItemChanged: if (StackLayout.isCurrentItem) active = true
                        Component.onCompleted: if (StackLayout.isCurrentItem) active = true
                        source: modelData
                    }
                }
            }
        }
    }

    Loader {
        id: questionSheet

        active: false
        sourceComponent: QuestionSheet {
        }
    }

    Binding {
        target: Theme
        property: "dark"
        value: Desktop.dark
    }
    Binding {
        target: Theme
        property: "reducedMotion"
        value: Desktop.reducedMotion
    }
    Shortcut {
        autoRepeat: false
        sequences: ["Ctrl+Return", "Ctrl+Enter"]
        onActivated: App.toggleRun()
    }
    Shortcut {
        autoRepeat: false
        sequence: "Ctrl+Shift+R"
        onActivated: App.replayLast()
    }
    Shortcut {
        autoRepeat: false
        sequence: "Ctrl+Shift+M"
        enabled: !App.summarizing
        onActivated: App.summarizeRecent()
    }
    Shortcut {
        autoRepeat: false
        sequence: "Ctrl+,"
        onActivated: Sections.current = "general"
    }
    Shortcut {
        autoRepeat: false
        sequence: "Ctrl+M"
        onActivated: window.showMinimized()
    }
    Shortcut {
        autoRepeat: false
        sequence: "Ctrl+W"
        onActivated: window.close()
    }
    Shortcut {
        autoRepeat: false
        sequence: "Ctrl+Q"
        onActivated: Shell.quit()
    }
}
