import QtQuick
import QtQuick.Controls
import TallowPine

// The app's one window, shaped like the phone it was made for; its content is the main screen.
ApplicationWindow {
    id: window
    width: 390
    height: 844
    minimumWidth: 320
    minimumHeight: 480
    visible: true
    title: "TallowPine"
    color: Theme.screenBackground

    // Dark everywhere: controls that draw from the palette get light text on dark fills.
    palette.window: Theme.screenBackground
    palette.windowText: Theme.white
    palette.base: Theme.cardBackground
    palette.text: Theme.white
    palette.button: Theme.fieldBackground
    palette.buttonText: Theme.white
    palette.highlight: Theme.blue
    palette.highlightedText: Theme.white
    palette.placeholderText: Theme.gray
    palette.dark: "#3a3a3c"
    palette.mid: "#48484a"
    palette.light: "#636366"

    ContentView {
        id: content
        objectName: "contentView"
        anchors.fill: parent
        focus: true
    }
}
