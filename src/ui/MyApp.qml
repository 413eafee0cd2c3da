import QtQuick
import QtQuick.Controls

ApplicationWindow {
    id: window
    width: 480
    height: 760
    visible: true
    title: "TallowPine"

    ContentView {
        anchors.fill: parent
    }
}
