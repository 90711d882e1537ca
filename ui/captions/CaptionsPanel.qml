import QtQuick
import Lingrelay.Controls
import Lingrelay.Model

/// The captions above all windows: dark glass with the newest words. What fits is decided elsewhere.
Window {
    id: window

    component Caption: Text {
        width: Math.min(column.width, Captions.wrapWidth)
        visible: text.length > 0
        horizontalAlignment: Text.AlignHCenter
        wrapMode: Text.Wrap
        textFormat: Text.PlainText
        font.family: Theme.family
        Accessible.role: Accessible.StaticText
        Accessible.name: text
    }

    title: T("Captions", "Phụ đề")
    color: "transparent"
    minimumWidth: 280
    minimumHeight: 64
    maximumWidth: 4000
    maximumHeight: 2000

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

                // Letters may be wider than was reckoned with: then all of it gets smaller. Should even that not do, the
                // newest words, which are below, stay in view.
                y: implicitHeight * scale > parent.height + 1 ? parent.height - implicitHeight : (parent.height - implicitHeight) / 2
                scale: Math.max(0.6, Math.min(1, parent.height / implicitHeight))
                transformOrigin: implicitHeight * 0.6 > parent.height ? Item.Bottom : Item.Center
                width: parent.width
                spacing: 6

                Caption {
                    text: Captions.status
                    font.pixelSize: Captions.statusSize
                    color: Qt.rgba(1, 1, 1, 0.55)
                    wrapMode: Text.NoWrap
                    elide: Text.ElideRight
                }
                Caption {
                    text: Captions.original
                    font.pixelSize: Captions.originalSize
                    color: Qt.rgba(1, 1, 1, 0.82)
                }
                Caption {
                    text: Captions.translation
                    font.pixelSize: Captions.translationSize
                    font.bold: true
                    color: Qt.rgba(1, 0.84, 0.3, 1)
                }
                Caption {
                    text: Captions.speak
                    font.pixelSize: Captions.speakSize
                    font.weight: Font.DemiBold
                    color: Qt.rgba(0.5, 0.85, 1, 1)
                }
            }
        }
        MouseArea {
            id: surface

            anchors.fill: parent
            hoverEnabled: true
            onPressed: mouse => Captions.press(mouse.x, mouse.y, false)
            onPositionChanged: mouse => {
                if (pressed)
                    Captions.drag();
                else
                    cursorShape = Captions.cursorAt(mouse.x, mouse.y);
            }
            onDoubleClicked: Captions.resetPlace()
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
                opacity: grip.containsMouse || grip.pressed ? 0.9 : surface.containsMouse ? 0.35 : 0
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
