import QtQuick
import QtQuick.Controls

// A 25 by 25 button drawn from a system symbol in `color`. React through onClicked or an Action;
// `text` is read by screen readers.
AbstractButton {
    id: button

    property string systemName
    property color color: "black"

    implicitWidth: 25
    implicitHeight: 25
    padding: 0
    opacity: pressed ? 0.5 : 1

    Accessible.name: text !== "" ? text : systemName

    contentItem: SymbolIcon {
        name: button.systemName
        size: Math.min(button.width, button.height)
        color: button.color
    }
}
