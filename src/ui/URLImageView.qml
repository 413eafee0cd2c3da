import QtQuick
import QtQuick.Controls
import TallowPine

// A package icon from its address: a spinner while it loads, the "Tweaks" picture when the address
// is unusable or the download fails. The caller sets the size.
Item {
    id: view

    property string urlString

    readonly property real cornerRadius: 8 / Math.max(1, Math.min(width, height))
    readonly property string iconSource: Assets.iconSource(urlString, cornerRadius)
    readonly property bool failed: iconSource === "" || icon.status === Image.Error

    implicitWidth: 50
    implicitHeight: 50

    Image {
        id: icon
        objectName: "icon"
        anchors.fill: parent
        source: view.iconSource
        sourceSize.width: Math.ceil(view.width * Screen.devicePixelRatio)
        sourceSize.height: Math.ceil(view.height * Screen.devicePixelRatio)
        asynchronous: true
        visible: status === Image.Ready
        Accessible.ignored: true
    }

    Image {
        objectName: "fallback"
        anchors.fill: parent
        source: view.failed ? Assets.assetSource("Tweaks", view.cornerRadius) : ""
        sourceSize: icon.sourceSize
        visible: view.failed
        Accessible.ignored: true
    }

    BusyIndicator {
        anchors.centerIn: parent
        width: 50
        height: 50
        running: !view.failed && icon.status !== Image.Ready
        visible: running
    }
}
