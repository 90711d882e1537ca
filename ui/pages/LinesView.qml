import QtQuick
import Lingrelay.Controls

/// Lines of a transcript in a list. One that follows shows the newest row, until the user scrolls up.
ListView {
    id: list

    property alias lines: list.model
    property bool following
    property bool atNewest: true

    clip: true
    boundsBehavior: Flickable.StopAtBounds
    activeFocusOnTab: count > 0
    keyNavigationEnabled: false
    cacheBuffer: 400
    reuseItems: true
    Keys.onUpPressed: contentY = Math.max(originY, contentY - 60)
    Keys.onDownPressed: contentY = Math.max(originY, Math.min(originY + contentHeight - height, contentY + 60))
    Accessible.role: Accessible.List

    onMovementEnded: atNewest = atYEnd
    onContentYChanged: if (atYEnd) atNewest = true; else if (moving || activeFocus) atNewest = false
    onCountChanged: {
        atNewest = atNewest || count === 0;
        if (following && atNewest)
            Qt.callLater(positionViewAtEnd);
    }
    onHeightChanged: if (following && atNewest) Qt.callLater(positionViewAtEnd)
    Component.onCompleted: if (following) Qt.callLater(positionViewAtEnd)

    delegate: TranscriptRow {
        width: ListView.view.width - Theme.space3
    }
    add: Transition {
        NumberAnimation {
            property: "opacity"
            from: 0
            to: 1
            duration: Theme.duration
        }
    }
    ScrollBar.vertical: ScrollBar {
    }

    FocusRing {
        visible: list.activeFocus
    }
    Button {
        anchors { bottom: parent.bottom; horizontalCenter: parent.horizontalCenter; bottomMargin: Theme.space3 }
        visible: list.following && !list.atNewest
        kind: Button.Filled
        iconName: "chevron-down"
        text: T("Latest", "Mới nhất")
        onClicked: {
            list.atNewest = true;
            list.positionViewAtEnd();
        }
    }
}
