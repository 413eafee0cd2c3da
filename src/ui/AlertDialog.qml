pragma ComponentBehavior: Bound
import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import TallowPine

// A phone-style alert: a title, a message and one "OK" that only dismisses.
// Each line of the message is laid out on its own, so an Arabic line above an English one
// does not turn the English line's punctuation around.
Popup {
    id: alert

    property string title: ""
    property string message: ""

    anchors.centerIn: Overlay.overlay
    width: Math.min(270, (parent ? parent.width : 270) - 40)
    modal: true
    focus: true
    padding: 0
    closePolicy: Popup.CloseOnEscape

    Overlay.modal: Rectangle {
        color: Qt.rgba(0, 0, 0, 0.45)
    }

    enter: Transition {
        NumberAnimation {
            property: "scale"
            from: 1.1
            to: 1
            duration: 150
            easing.type: Easing.OutCubic
        }
        NumberAnimation {
            property: "opacity"
            from: 0
            to: 1
            duration: 150
        }
    }
    exit: Transition {
        NumberAnimation {
            property: "opacity"
            from: 1
            to: 0
            duration: 120
        }
    }

    background: Rectangle {
        radius: 14
        color: "#2c2c2e"
    }

    contentItem: ColumnLayout {
        spacing: 0
        Accessible.role: Accessible.AlertMessage
        Accessible.name: alert.title + "\n" + alert.message

        Label {
            objectName: "alertTitle"
            Layout.fillWidth: true
            Layout.topMargin: 19
            Layout.leftMargin: 16
            Layout.rightMargin: 16
            text: alert.title
            color: Theme.white
            font.pixelSize: Theme.headlineSize
            font.weight: Font.DemiBold
            horizontalAlignment: Text.AlignHCenter
            wrapMode: Text.Wrap
        }

        Repeater {
            model: alert.message.split("\n")
            delegate: Label {
                required property string modelData
                Layout.fillWidth: true
                Layout.leftMargin: 16
                Layout.rightMargin: 16
                Layout.topMargin: 2
                text: modelData
                color: Theme.white
                font.pixelSize: Theme.footnoteSize
                horizontalAlignment: Text.AlignHCenter
                wrapMode: Text.Wrap
            }
        }

        Rectangle {
            Layout.fillWidth: true
            Layout.topMargin: 19
            implicitHeight: 1
            color: "#48484a"
        }

        AbstractButton {
            id: okButton
            objectName: "alertOk"
            Layout.fillWidth: true
            implicitHeight: 44
            focus: true
            text: "OK"
            Accessible.name: "OK"
                    onClicked: alert.close()
            Keys.onReturnPressed: alert.close()
            Keys.onEnterPressed: alert.close()
            contentItem: Text {
                text: okButton.text
                color: Theme.blue
                font.pixelSize: Theme.bodySize
                font.weight: Font.DemiBold
                horizontalAlignment: Text.AlignHCenter
                verticalAlignment: Text.AlignVCenter
            }
            background: Rectangle {
                color: okButton.pressed ? "#3a3a3c" : "transparent"
                radius: 14
            }
        }
    }
}
