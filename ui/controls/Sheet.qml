import QtQuick
import QtQuick.Layouts
import QtQuick.Templates as Templates

/// A dialog inside the window, with the rest dimmed. Escape closes it.
Templates.Popup {
    id: sheet

    property string title
    property alias footer: foot.data
    default property alias content: body.data

    parent: Templates.Overlay.overlay
    anchors.centerIn: parent
    width: Math.min(460, parent ? parent.width - 2 * Theme.space5 : 460)
    padding: Theme.space5
    modal: true
    focus: true
    dim: true
    closePolicy: Templates.Popup.CloseOnEscape

    Templates.Overlay.modal: Rectangle {
        color: Theme.dim
    }
    background: Rectangle {
        radius: Theme.radiusPanel
        color: Theme.popup
        border.color: Theme.cardBorder
    }
    contentItem: ColumnLayout {
        spacing: Theme.space4
        Accessible.role: Accessible.Dialog
        Accessible.name: sheet.title

        Label {
            Layout.fillWidth: true
            kind: Label.Title
            text: sheet.title
            Accessible.role: Accessible.Heading
        }
        ColumnLayout {
            id: body

            Layout.fillWidth: true
            spacing: Theme.space3
        }
        ColumnLayout {
            id: foot

            Layout.fillWidth: true
            Layout.topMargin: Theme.space2
        }
    }
}
