import QtQuick
import TallowPine

// A source's icon from the app's own pictures, 60 by 60 with rounded corners; a gray photo symbol
// when neither the icon nor the bundle's Tweaks.png is there.
Item {
    id: view

    property string imageName

    readonly property string imageSource: Assets.repoImageSource(imageName, 8 / 60)

    implicitWidth: 60
    implicitHeight: 60

    Image {
        anchors.fill: parent
        source: view.imageSource
        sourceSize.width: Math.ceil(view.width * Screen.devicePixelRatio)
        sourceSize.height: Math.ceil(view.height * Screen.devicePixelRatio)
        visible: view.imageSource !== ""
        Accessible.ignored: true
    }

    SymbolIcon {
        anchors.fill: parent
        visible: view.imageSource === ""
        name: "photo"
        size: Math.min(view.width, view.height)
        color: "gray"
    }
}
