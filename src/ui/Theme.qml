pragma Singleton
import QtQuick

// Colours, type sizes and spacing shared by every screen: one dark look, in one place.
QtObject {
    // The screen colour behind everything, including under the window's edges.
    readonly property color screenBackground: Qt.rgba(0.08, 0, 0.1, 1)
    readonly property color cardBackground: "#1c1c1e"
    readonly property color sheetBackground: "#1c1c1e"
    readonly property color fieldBackground: "#2c2c2e"

    readonly property color blue: "#0a84ff"
    readonly property color green: "#30d158"
    readonly property color red: "#ff453a"
    readonly property color yellow: "#ffd60a"
    readonly property color gray: "#8e8e93"
    readonly property color white: "#ffffff"
    readonly property color secondaryText: Qt.rgba(1, 1, 1, 0.7)

    function translucent(c, alpha) {
        return Qt.rgba(c.r, c.g, c.b, alpha)
    }

    // Type sizes in logical pixels, named after the text styles they stand for.
    readonly property int titleSize: 28
    readonly property int title2Size: 22
    readonly property int title3Size: 20
    readonly property int headlineSize: 17
    readonly property int bodySize: 17
    readonly property int subheadlineSize: 15
    readonly property int footnoteSize: 13

    readonly property int defaultPadding: 16
    readonly property int rowInset: 16
}
