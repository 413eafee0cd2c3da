import QtQuick
import QtQuick.Controls
import TallowPine

// A 30 by 30 button showing one of the app's pictures in a circle, or the gray fallback symbol when
// the picture is missing. React through onClicked or an Action; `text` is read by screen readers.
AbstractButton {
    id: button

    property string imageName
    property string fallbackSystemName

    readonly property string imageSource: Assets.assetSource(imageName, 0.5)

    implicitWidth: 30
    implicitHeight: 30
    padding: 0
    opacity: pressed ? 0.5 : 1

    Accessible.name: text !== "" ? text : imageName

    contentItem: Item {
        Image {
            anchors.fill: parent
            source: button.imageSource
            sourceSize.width: Math.ceil(width * Screen.devicePixelRatio)
            sourceSize.height: Math.ceil(height * Screen.devicePixelRatio)
            visible: button.imageSource !== ""
        }

        SymbolIcon {
            anchors.fill: parent
            visible: button.imageSource === ""
            name: button.fallbackSystemName
            size: Math.min(button.width, button.height)
            color: "gray"
        }
    }
}
