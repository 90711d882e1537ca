import QtQuick
import Lingrelay.Controls
import Lingrelay.Model

/// The captions above all windows: dark glass with the newest words. What fits is decided elsewhere.
Window {
    id: window

    component Caption: Text {
        property string full
        property int size
        property int rows

        readonly property int wrap: Math.min(column.width, Captions.wrapWidth)
        readonly property real used: visible ? height + column.spacing : 0

        // Letters may be wider than was reckoned with: then fewer words are shown, never smaller ones.
        text: Captions.fitted(full, font, wrap, rows)
        width: wrap
        height: Math.max(1, lineCount) * lineHeight
        visible: text.length > 0
        horizontalAlignment: Text.AlignHCenter
        wrapMode: Text.Wrap
        textFormat: Text.PlainText
        lineHeightMode: Text.FixedHeight
        lineHeight: Math.round(1.25 * size)
        font.family: Theme.family
        font.pixelSize: size
        Accessible.role: Accessible.StaticText
        Accessible.name: text
    }

    title: T("Captions", "Phụ đề")
    color: "transparent"
    minimumWidth: 280
    minimumHeight: 64
    maximumWidth: 4000
    maximumHeight: 2000
    onVisibleChanged: surface.twice = false // the release of what is held now does not come

    // Screen readers read a notification when it appears.
    Item {
        id: notification

        visible: false
        Accessible.role: Accessible.Notification

        Connections {
            target: Captions

            function onAnnounced(line: string) {
                notification.visible = false;
                notification.Accessible.name = line;
                notification.visible = true;
            }
        }
    }
    Rectangle {
        anchors.fill: parent
        radius: Theme.radiusPanel
        color: Qt.rgba(0.06, 0.06, 0.06, 0.9)
        clip: true

        Item {
            anchors { fill: parent; leftMargin: 20; rightMargin: 20; topMargin: 8; bottomMargin: 8 }
            clip: true

            Column {
                id: column

                y: Math.round((parent.height - implicitHeight) / 2)
                width: parent.width
                spacing: 6

                Caption {
                    id: status

                    text: Captions.status
                    size: Captions.statusSize
                    color: Qt.rgba(1, 1, 1, 0.55)
                    wrapMode: Text.NoWrap
                    elide: Text.ElideRight
                }
                Caption {
                    id: original

                    full: Captions.original
                    size: Captions.originalSize
                    rows: Captions.originalRows
                    color: Qt.rgba(1, 1, 1, 0.82)
                }
                Caption {
                    // It also gets the room that the others leave.
                    readonly property real room: column.parent.height - status.used - original.used - speak.used

                    full: Captions.translation
                    size: Captions.translationSize
                    rows: Math.max(Captions.translationRows, Math.floor(room / lineHeight))
                    font.bold: true
                    color: Qt.rgba(1, 0.84, 0.3, 1)
                }
                Caption {
                    id: speak

                    full: Captions.speak
                    size: Captions.speakSize
                    rows: Captions.speakRows
                    font.weight: Font.DemiBold
                    color: Qt.rgba(0.5, 0.85, 1, 1)
                }
            }
        }
        MouseArea {
            id: surface

            property bool twice: false ///< the second press of a double click is held, and not to drag
            property point held

            anchors.fill: parent
            hoverEnabled: true
            onPressed: mouse => {
                twice = false; // a release can get lost
                Captions.press(mouse.x, mouse.y, false);
            }
            onPositionChanged: mouse => {
                if (!pressed)
                    cursorShape = Captions.cursorAt(mouse.x, mouse.y);
                else if (!twice || Math.hypot(mouse.x - held.x, mouse.y - held.y) >= Qt.styleHints.startDragDistance) {
                    twice = false;
                    Captions.drag();
                }
            }
            onDoubleClicked: mouse => {
                held = Qt.point(mouse.x, mouse.y);
                twice = true;
            }
            onReleased: {
                if (twice)
                    Captions.resetPlace();
                twice = false;
            }
        }
        MouseArea {
            id: grip

            anchors { right: parent.right; bottom: parent.bottom; margins: 6 }
            width: 18
            height: 18
            hoverEnabled: true
            cursorShape: Qt.CrossCursor
            onPressed: mouse => Captions.press(mouse.x, mouse.y, true)
            onPositionChanged: if (pressed) Captions.drag()

            Canvas {
                anchors.fill: parent
                opacity: grip.containsMouse || grip.pressed ? 0.9 : 0.35
                onPaint: {
                    const context = getContext("2d");
                    context.strokeStyle = "white";
                    context.lineWidth = 1.5;
                    for (const [right, top] of [[16, 2], [11, 7], [6, 12]]) {
                        context.beginPath();
                        context.moveTo(width - 2, right);
                        context.lineTo(top, 2);
                        context.stroke();
                    }
                }
            }
        }
    }
}
