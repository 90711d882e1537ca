import QtQuick
import QtQuick.Layouts
import Lingrelay.Controls
import Lingrelay.Model

Item {
    id: page

    Component.onCompleted: History.active = true

    ColumnLayout {
        anchors { fill: parent; margins: Theme.space5 }
        spacing: Theme.space3

        RowLayout {
            spacing: Theme.space3

            SectionHeader {
                Layout.fillWidth: true
                text: T("Past sessions", "Các phiên đã lưu")
            }
            SearchField {
                id: search

                Layout.preferredWidth: 280
                placeholderText: T("Search transcripts", "Tìm trong biên bản")
                visible: !History.empty
                onTextChanged: History.query = text
            }
        }
        Item {
            Layout.fillWidth: true
            Layout.fillHeight: true

            EmptyState {
                id: nothing

                anchors.centerIn: parent
                width: Math.min(parent.width - 2 * Theme.space5, 420)
                visible: History.count === 0 && !History.loading
                iconName: History.empty ? "history" : "search"
                title: History.empty ? T("No sessions yet", "Chưa có phiên nào") : T("No session holds these words", "Không phiên nào có những từ này")
                hint: History.empty ? T("Finished sessions with at least one line are saved automatically.", "Phiên nào có ít nhất một câu sẽ được lưu tự động khi dừng.") : T("Try fewer or other words.", "Hãy thử ít từ hơn hoặc từ khác.")
            }
            Label {
                anchors.centerIn: parent
                visible: History.loading
                text: T("Reading past sessions…", "Đang đọc các phiên đã lưu…")
                color: Theme.secondary
            }
            ListView {
                id: list

                property int stop ///< the row that Tab comes to; arrow keys go on from there

                readonly property int ringRoom: 6 // or a ring would be cut off

                function reveal(index) {
                    positionViewAtIndex(index, ListView.Contain);
                    const row = itemAtIndex(index);
                    if (row)
                        contentY = Math.min(Math.max(contentY, row.y + row.height + ringRoom - height), row.y - ringRoom);
                }
                function focusRow(index, reason) {
                    if (index < 0 || index >= count)
                        return;
                    reveal(index);
                    itemAtIndex(index)?.takeFocus(reason);
                }
                /// The session goes, and the focus does not go with it.
                function remove(index, sessionId, reason) {
                    focusRow(index + 1 < count ? index + 1 : index - 1, reason);
                    History.remove(sessionId);
                    if (History.empty)
                        nothing.takeFocus(reason);
                    else if (History.count === 0)
                        search.forceActiveFocus(reason);
                }

                anchors { fill: parent; margins: -ringRoom; rightMargin: 0 }
                leftMargin: ringRoom
                topMargin: ringRoom
                bottomMargin: ringRoom
                clip: true
                spacing: Theme.space2
                boundsBehavior: Flickable.StopAtBounds
                model: History
                cacheBuffer: 400
                keyNavigationEnabled: false // the rows do that themselves
                activeFocusOnTab: count > 0 && (!activeFocus || Window.activeFocusItem === list)
                onActiveFocusChanged: if (Window.activeFocusItem === list) focusRow(Math.min(stop, count - 1), Qt.TabFocusReason)
                currentIndex: -1 // or what takes the place of a deleted one would have the focus
                Accessible.role: Accessible.List
                Accessible.name: T("Past sessions", "Các phiên đã lưu")
                ScrollBar.vertical: ScrollBar {
                }
                delegate: HistoryRow {
                    width: list.width - list.leftMargin - Theme.space3
                }
            }
        }
    }
}
