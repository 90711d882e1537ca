import QtQuick
import Lingrelay.Controls

/// Lines of a transcript in a list. One that follows shows the newest row, until the user scrolls up.
Item {
    id: root

    property alias lines: list.model
    property alias contentHeight: list.contentHeight
    property string name
    property bool following
    property bool atNewest: true

    ListView {
        id: list

        // Also when the pointer has put the focus into a row before.
        readonly property bool moved: moving || bar.pressed || activeFocus

        anchors.fill: parent
        clip: true
        boundsBehavior: Flickable.StopAtBounds
        activeFocusOnTab: count > 0
        keyNavigationEnabled: false
        currentIndex: -1 // or its row would have the focus
        cacheBuffer: 400
        reuseItems: true
        Keys.onUpPressed: contentY = Math.max(originY, contentY - 60)
        Keys.onDownPressed: contentY = Math.max(originY, Math.min(originY + contentHeight - height, contentY + 60))
        Accessible.role: Accessible.List
        Accessible.name: root.name

        onMovementEnded: root.atNewest = atYEnd
        onContentYChanged: if (atYEnd) root.atNewest = true; else if (moved) root.atNewest = false
        onCountChanged: {
            root.atNewest = root.atNewest || count === 0;
            if (root.following && root.atNewest)
                Qt.callLater(positionViewAtEnd);
        }
        onHeightChanged: if (root.following && root.atNewest) Qt.callLater(positionViewAtEnd)
        Component.onCompleted: if (root.following) Qt.callLater(positionViewAtEnd)

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
            id: bar
        }
    }
    FocusRing {
        visible: list.Window.activeFocusItem === list // and no text of a row
    }
    Button {
        anchors { bottom: parent.bottom; horizontalCenter: parent.horizontalCenter; bottomMargin: Theme.space3 }
        visible: root.following && !root.atNewest
        kind: Button.Filled
        iconName: "chevron-down"
        text: T("Latest", "Mới nhất")
        onClicked: {
            root.atNewest = true;
            list.positionViewAtEnd();
        }
    }
}
