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

                function focusRow(index) {
                    positionViewAtIndex(Math.max(0, Math.min(index, count - 1)), ListView.Contain);
                    const next = itemAtIndex(index);
                    if (next)
                        next.takeFocus();
                }
                /// The row goes, and the focus does not go with it.
                function leaveRow(index) {
                    if (count > 1)
                        focusRow(index + 1 < count ? index + 1 : index - 1);
                    else
                        search.forceActiveFocus();
                }

                anchors.fill: parent
                clip: true
                spacing: Theme.space2
                boundsBehavior: Flickable.StopAtBounds
                model: History
                cacheBuffer: 400
                keyNavigationEnabled: false // the rows do that themselves
                Accessible.role: Accessible.List
                Accessible.name: T("Past sessions", "Các phiên đã lưu")
                ScrollBar.vertical: ScrollBar {
                }
                delegate: HistoryRow {
                    width: list.width - Theme.space3
                }
            }
        }
    }
}
