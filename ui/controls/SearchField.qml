import QtQuick

TextField {
    leadingIcon: "search"
    Accessible.role: Accessible.EditableText
    Keys.onEscapePressed: event => {
        event.accepted = length > 0;
        if (length > 0) {
            clear();
            textEdited();
        }
    }
}
