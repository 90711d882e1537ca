import QtQuick
import QtQuick.Layouts
import Lingrelay.Controls
import Lingrelay.Model

Window {
    id: window

    title: Sections.title
    width: 1060
    height: 700
    minimumWidth: 900
    minimumHeight: 600
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
            StackLayout {
                id: stack

                readonly property var names: Sections.all.map(section => section.value)

                Layout.fillWidth: true
                Layout.fillHeight: true
                currentIndex: names.indexOf(Sections.current)

                Repeater {
                    model: stack.names

                    Loader {
                        required property int index
                        required property string modelData

                        // A page is made when it is first shown, and stays with what was typed into it.
                        active: false
                        StackLayout.onIsCurrentItemChanged: if (StackLayout.isCurrentItem) active = true
                        Component.onCompleted: if (StackLayout.isCurrentItem) active = true
                        source: modelData.charAt(0).toUpperCase() + modelData.slice(1) + "Page.qml"
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
        onActivated: App.running ? App.stop() : App.start()
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
