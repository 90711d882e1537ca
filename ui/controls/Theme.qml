pragma Singleton
import QtQuick

/// Every colour, size and duration of the windows. The program sets `dark` and `reducedMotion` as the desktop says.
QtObject {
    property bool dark: false
    property bool reducedMotion: false

    readonly property color window: dark ? "#1B1C20" : "#F5F6F8"
    readonly property color sidebar: dark ? "#232429" : "#ECEEF2"
    readonly property color card: dark ? "#26272C" : "#FFFFFF"
    readonly property color cardBorder: dark ? "#12FFFFFF" : "#14000000"
    readonly property color popup: dark ? "#2E2F35" : "#FFFFFF"
    readonly property color popupBorder: dark ? "#24FFFFFF" : "#24000000"
    readonly property color text: dark ? "#F2F3F5" : "#16181D"
    readonly property color secondary: dark ? "#A8F2F3F5" : "#A316181D"
    readonly property color disabled: dark ? "#61F2F3F5" : "#6116181D"
    readonly property color brand: dark ? "#3B66E6" : "#3060E4"
    readonly property color brandPressed: dark ? "#3059D0" : "#264FC2"
    readonly property color brandText: dark ? "#7A9CF9" : "#3060E4"
    readonly property color brandInk: "#FFFFFF"
    readonly property color brandStart: "#3030D8"
    readonly property color brandMiddle: "#306FE8" ///< on the way; no label goes beyond it
    readonly property color brandEnd: "#3090F0"
    readonly property color listen: dark ? "#FF9F0A" : "#FF9500"
    readonly property color listenText: dark ? "#FFB340" : "#A85A00"
    readonly property color speak: dark ? "#0A84FF" : "#007AFF"
    readonly property color speakText: dark ? "#6CB4FF" : "#0059C2"
    readonly property color good: dark ? "#3CCB7F" : "#15803D"
    readonly property color warning: dark ? "#FFB340" : "#9A5B00"
    readonly property color error: dark ? "#FF6B63" : "#C9302C"
    readonly property color hover: dark ? "#0DFFFFFF" : "#0A000000"
    readonly property color pressed: dark ? "#1AFFFFFF" : "#14000000"
    readonly property color pressedError: dark ? "#33000000" : "#12000000" ///< under words in the colour of errors
    readonly property color highlight: faint(brand, dark ? 0.30 : 0.14) ///< of a chosen or reached row
    readonly property color field: dark ? "#1F2024" : "#FFFFFF"
    readonly property color track: dark ? "#85878F" : "#7F838C" ///< edges of controls: 3 to 1 on cards and windows
    readonly property color shadow: dark ? "#12000000" : "#07000000" ///< one of several layers
    readonly property color dim: dark ? "#8A000000" : "#52000000"
    readonly property color focus: brandText
    readonly property color gradientHover: "#18000000" ///< darker, for the label
    readonly property color gradientPressed: "#30000000"

    readonly property string family: "Inter"
    readonly property string digits: "Noto Sans" ///< all of its digits are equally wide

    readonly property int space1: 4
    readonly property int space2: 8
    readonly property int space3: 12
    readonly property int space4: 16
    readonly property int space5: 24
    readonly property int space6: 32
    readonly property int fontCaption: 12
    readonly property int fontBody: 13
    readonly property int fontRow: 15
    readonly property int fontButton: 16
    readonly property int fontTitle: 20
    readonly property int fontNumber: 28
    readonly property var fontSizes: [fontBody, fontCaption, fontRow, fontTitle, fontNumber, fontCaption] ///< by Label.Kind
    readonly property int weightNormal: Font.Normal
    readonly property int weightStrong: Font.DemiBold
    readonly property int radiusControl: 8
    readonly property int radiusCard: 12
    readonly property int radiusPanel: 16
    readonly property int rowHeight: 44
    readonly property int controlHeight: 32
    readonly property int sidebarRowHeight: 36
    readonly property int entryHeight: 32 ///< of a list that opens
    readonly property int indent: 48 ///< of words after an icon in a row
    readonly property int roomForWords: 120 ///< below it a row's control goes under its words
    readonly property int popupHeight: 360 ///< the most
    readonly property int sheetWidth: 460
    readonly property int pageWidth: 720
    readonly property int narrowPage: 560
    readonly property int duration: reducedMotion ? 0 : 120
    readonly property int meterDuration: reducedMotion ? 0 : 80

    /// A banner's surface, in a light wash of a colour.
    function washed(tint) {
        return Qt.tint(card, faint(tint, dark ? 0.14 : 0.09));
    }
    function faint(tint, opacity) {
        return Qt.rgba(tint.r, tint.g, tint.b, opacity);
    }
}
