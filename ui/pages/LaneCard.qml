import QtQuick
import QtQuick.Layouts
import Lingrelay.Controls

/// One direction of the translation: where sound comes from, what becomes of it, where it goes, and the words of now.
Card {
    id: card

    required property QtObject lane

    readonly property color textTint: Theme[lane.textTint]

    component End: ColumnLayout {
        id: end

        property string label
        property string iconName
        property real level
        property bool awake

        spacing: Theme.space2

        RowLayout {
            spacing: Theme.space2

            Icon {
                name: end.iconName
                color: end.awake ? card.textTint : Theme.disabled
            }
            Label {
                Layout.fillWidth: true
                text: end.label
                color: end.awake ? Theme.text : Theme.secondary
                wrapMode: Text.NoWrap
                elide: Text.ElideRight
            }
        }
        LevelMeter {
            Layout.fillWidth: true
            label: end.label
            level: end.level
            tint: card.tint
        }
    }

    tint: Theme[lane.tint]

    ColumnLayout {
        Layout.fillWidth: true
        Layout.margins: Theme.space4
        spacing: Theme.space4

        RowLayout {
            Layout.fillWidth: true
            spacing: Theme.space2

            Icon {
                name: card.lane.iconName
                color: card.textTint
            }
            Label {
                Layout.fillWidth: true
                kind: Label.Row
                font.weight: Theme.weightStrong
                text: card.lane.title
            }
        }
        RowLayout {
            Layout.fillWidth: true
            spacing: Theme.space4

            End {
                Layout.fillWidth: true
                Layout.preferredWidth: 1
                label: card.lane.inLabel
                iconName: card.lane.inIcon
                level: card.lane.inLevel
                awake: card.lane.inAwake
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
                    text: card.lane.languages
                }
                FlowArrow {
                    Layout.fillWidth: true
                    tint: card.lane.outAwake ? card.textTint : Theme.secondary
                    flowing: card.lane.flowing
                    bidirectional: card.lane.bidirectional
                }
            }
            End {
                Layout.fillWidth: true
                Layout.preferredWidth: 1
                label: card.lane.outLabel
                iconName: card.lane.outIcon
                level: card.lane.outLevel
                awake: card.lane.outAwake
            }
        }
        // Texts that can be marked take long to make, and most windows open without words.
        Loader {
            Layout.fillWidth: true
            visible: active
            active: card.lane.source.length + card.lane.translated.length > 0

            sourceComponent: ColumnLayout {
                spacing: Theme.space1

                SelectableText {
                    Layout.fillWidth: true
                    visible: text.length > 0
                    text: card.lane.source
                    color: Theme.secondary
                }
                SelectableText {
                    Layout.fillWidth: true
                    visible: text.length > 0
                    kind: Label.Row
                    text: card.lane.translated
                }
            }
        }
    }
}
