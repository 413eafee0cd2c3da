pragma ComponentBehavior: Bound
import QtQuick
import QtQuick.Controls
import TallowPine

// A row of equal segments, one of them chosen: the phone's segmented control.
// The owner maps segments to values; this only reports which one was picked.
Control {
    id: picker

    required property var labels
    property int currentIndex: 0
    // What a screen reader calls the whole control.
    property string label: ""

    signal activated(int index)

    // Its owner gives it the width; the labels shrink to fit rather than widen the screen.
    implicitWidth: 160
    implicitHeight: 32
    padding: 2
    Accessible.role: Accessible.PageTabList
    Accessible.name: picker.label

    background: Rectangle {
        radius: 8
        color: Theme.fieldBackground
    }

    contentItem: Row {
        id: segments
        Repeater {
            model: picker.labels
            delegate: AbstractButton {
                id: segment
                required property string modelData
                required property int index
                readonly property bool chosen: segment.index === picker.currentIndex

                objectName: "segment" + segment.index

                width: segments.width / Math.max(1, picker.labels.length)
                height: segments.height
                focusPolicy: Qt.StrongFocus
                checkable: false
                Accessible.role: Accessible.PageTab
                Accessible.name: segment.modelData
                Accessible.checked: segment.chosen
                onClicked: {
                    if (!segment.chosen)
                        picker.activated(segment.index)
                }

                background: Rectangle {
                    radius: 7
                    color: segment.chosen ? "#636366" : "transparent"
                    border.width: segment.visualFocus ? 1 : 0
                    border.color: Theme.blue
                    Behavior on color {
                        ColorAnimation {
                            duration: 150
                        }
                    }
                }
                contentItem: Text {
                    text: segment.modelData
                    color: Theme.white
                    font.pixelSize: 13
                    font.weight: segment.chosen ? Font.DemiBold : Font.Normal
                    horizontalAlignment: Text.AlignHCenter
                    verticalAlignment: Text.AlignVCenter
                    // Long labels shrink rather than lose letters in a narrow window.
                    fontSizeMode: Text.HorizontalFit
                    minimumPixelSize: 8
                    leftPadding: 4
                    rightPadding: 4
                }
            }
        }
    }

    // Left and right move the choice, as on any segmented control.
    Keys.onLeftPressed: picker.step(-1)
    Keys.onRightPressed: picker.step(1)
    function step(delta) {
        const next = picker.currentIndex + delta
        if (next >= 0 && next < picker.labels.length)
            picker.activated(next)
    }
}
