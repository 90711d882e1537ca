import QtQuick
import QtQuick.Layouts
import Lingrelay.Controls
import Lingrelay.Model

/// One direction of the translation: where sound comes from, what becomes of it, where it goes, and the words of now.
Card {
    id: lane

    property string title
    property string iconName
    property color textTint
    property string from
    property string to
    property bool bidirectional
    property string inLabel
    property string inIcon
    property real inLevel
    property string outLabel
    property string outIcon
    property real outLevel
    property string source
    property string translated

    // What is heard from the inputs is told while a session runs; the voice also speaks without one.
    readonly property bool flowing: (App.running && inLevel > 0.04) || outLevel > 0.04

    component End: ColumnLayout {
        id: end

        property string label
        property string iconName
        property real level
        property bool live: App.running

        spacing: Theme.space2

        RowLayout {
            spacing: Theme.space2

            Icon {
                name: end.iconName
                color: end.live ? lane.textTint : Theme.disabled
            }
            Label {
                Layout.fillWidth: true
                text: end.label
                color: end.live ? Theme.text : Theme.secondary
                wrapMode: Text.NoWrap
                elide: Text.ElideRight
            }
        }
        LevelMeter {
            Layout.fillWidth: true
            label: end.label
            level: end.live ? end.level : 0
            tint: lane.tint
        }
    }

    ColumnLayout {
        Layout.fillWidth: true
        Layout.margins: Theme.space4
        spacing: Theme.space4

        RowLayout {
            Layout.fillWidth: true
            spacing: Theme.space2

            Icon {
                name: lane.iconName
                color: lane.textTint
            }
            Label {
                Layout.fillWidth: true
                kind: Label.Row
                font.weight: Theme.weightStrong
                text: lane.title
            }
        }
        RowLayout {
            Layout.fillWidth: true
            spacing: Theme.space4

            End {
                Layout.fillWidth: true
                Layout.preferredWidth: 1
                label: lane.inLabel
                iconName: lane.inIcon
                level: lane.inLevel
            }
            ColumnLayout {
                Layout.fillWidth: true
                Layout.preferredWidth: 1
                spacing: 0

                Label {
                    Layout.fillWidth: true
                    horizontalAlignment: Text.AlignHCenter
                    kind: Label.Caption
                    color: Theme.secondary
                    maximumLineCount: 2
                    elide: Text.ElideRight
                    text: lane.from + (lane.bidirectional ? " ⇄ " : " → ") + lane.to
                }
                FlowArrow {
                    Layout.fillWidth: true
                    tint: App.running || lane.flowing ? lane.textTint : Theme.secondary
                    flowing: lane.flowing
                    bidirectional: lane.bidirectional
                }
            }
            End {
                Layout.fillWidth: true
                Layout.preferredWidth: 1
                label: lane.outLabel
                iconName: lane.outIcon
                level: lane.outLevel
                live: App.running || lane.outLevel > 0
            }
        }
        ColumnLayout {
            Layout.fillWidth: true
            spacing: Theme.space1
            visible: lane.source.length + lane.translated.length > 0

            SelectableText {
                Layout.fillWidth: true
                visible: text.length > 0
                text: lane.source
                color: Theme.secondary
            }
            SelectableText {
                Layout.fillWidth: true
                visible: text.length > 0
                kind: Label.Row
                text: lane.translated
            }
        }
    }
}
