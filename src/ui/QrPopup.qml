pragma ComponentBehavior: Bound
import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import TallowPine

// A link as a QR code, for a phone to scan off the screen, with the link itself under it to check
// or select. Escape, a click outside or "Close" dismisses it.
Popup {
    id: popup

    property string address: ""

    // Shows the code of one link; the same popup serves every row of a list.
    function show(link) {
        popup.address = link
        popup.open()
    }

    anchors.centerIn: Overlay.overlay
    width: Math.min(300, (parent ? parent.width : 300) - 40)
    modal: true
    focus: true
    padding: 0
    closePolicy: Popup.CloseOnEscape | Popup.CloseOnPressOutside

    Overlay.modal: Rectangle {
        color: Qt.rgba(0, 0, 0, 0.45)
    }

    background: Rectangle {
        radius: 14
        color: "#2c2c2e"
    }

    contentItem: ColumnLayout {
        spacing: 0
        Accessible.role: Accessible.Dialog
        Accessible.name: "QR code of " + popup.address

        Rectangle {
            // White around the code too: scanners read it against a light surround.
            Layout.alignment: Qt.AlignHCenter
            Layout.topMargin: 16
            implicitWidth: code.width
            implicitHeight: code.height
            radius: 6
            color: "white"

            Image {
                id: code
                objectName: "qrImage"
                readonly property int side: Math.max(120, popup.width - 40)
                width: code.side
                height: code.side
                sourceSize.width: code.side
                sourceSize.height: code.side
                source: Assets.qrSource(popup.address)
                // Whole pixels per module come from the provider; any further scaling would blur them.
                smooth: false
                fillMode: Image.PreserveAspectFit
                Accessible.role: Accessible.Graphic
                Accessible.name: "QR code"
            }
            Label {
                objectName: "qrUnavailable"
                anchors.fill: parent
                anchors.margins: 12
                visible: code.status === Image.Error || code.source.toString() === ""
                text: "Too long for a QR code"
                color: "black"
                font.pixelSize: Theme.footnoteSize
                horizontalAlignment: Text.AlignHCenter
                verticalAlignment: Text.AlignVCenter
                wrapMode: Text.Wrap
            }
        }

        TextEdit {
            objectName: "qrAddress"
            Layout.fillWidth: true
            Layout.topMargin: 12
            Layout.leftMargin: 16
            Layout.rightMargin: 16
            text: popup.address
            readOnly: true
            selectByMouse: true
            selectByKeyboard: true
            color: Theme.white
            selectionColor: Theme.blue
            font.pixelSize: Theme.footnoteSize
            // A link has no spaces to break at.
            wrapMode: TextEdit.WrapAnywhere
            horizontalAlignment: TextEdit.AlignHCenter
            Accessible.role: Accessible.EditableText
            Accessible.name: popup.address
        }

        Rectangle {
            Layout.fillWidth: true
            Layout.topMargin: 16
            implicitHeight: 1
            color: "#48484a"
        }

        AbstractButton {
            id: closeButton
            objectName: "qrClose"
            Layout.fillWidth: true
            implicitHeight: 44
            focus: true
            text: "Close"
            Accessible.name: "Close"
            onClicked: popup.close()
            Keys.onReturnPressed: popup.close()
            Keys.onEnterPressed: popup.close()
            contentItem: Text {
                text: closeButton.text
                color: Theme.blue
                font.pixelSize: Theme.bodySize
                font.weight: Font.DemiBold
                horizontalAlignment: Text.AlignHCenter
                verticalAlignment: Text.AlignVCenter
            }
            background: Rectangle {
                color: closeButton.pressed ? "#3a3a3c" : "transparent"
                radius: 14
            }
        }
    }
}
