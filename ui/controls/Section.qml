import QtQuick
import QtQuick.Layouts

/// A card with its heading above and what there is to say about it below.
ColumnLayout {
    id: section

    property string iconName
    property string title
    property string subtitle
    property string footer
    default property alias content: card.content

    spacing: Theme.space2

    RowLayout {
        visible: section.title.length > 0
        spacing: Theme.space2

        Icon {
            visible: section.iconName.length > 0
            name: section.iconName
            color: Theme.secondary
        }
        SectionHeader {
            Layout.fillWidth: true
            text: section.title
        }
    }
    Label {
        Layout.fillWidth: true
        Layout.topMargin: -Theme.space1
        visible: text.length > 0
        kind: Label.Secondary
        text: section.subtitle
    }
    Card {
        id: card

        Layout.fillWidth: true
    }
    SectionFooter {
        visible: text.length > 0
        text: section.footer
    }
}
