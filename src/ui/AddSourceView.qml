pragma ComponentBehavior: Bound
import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import TallowPine

// The sheet in which the user types a new source's link. It checks nothing but that the field is
// not empty: the state object normalises the link and reports any problem in its own alert.
Drawer {
    id: sheet

    required property RepoViewModel viewModel

    // The user asked for the import (0) or export (1) of a whole list; the sheet has closed itself.
    signal transferRequested(int mode)

    edge: Qt.BottomEdge
    width: parent ? parent.width : 0
    height: parent ? Math.min(parent.height - 40, Math.max(320, parent.height * 0.6)) : 0
    modal: true
    interactive: true
    dim: true

    // Each presentation starts with an empty field.
    onAboutToShow: linkField.clear()
    onOpened: linkField.forceActiveFocus()

    function add() {
        if (linkField.text === "")
            return
        sheet.viewModel.addNewSource(linkField.text)
        sheet.close()
    }

    background: Rectangle {
        color: "#000000"
        radius: 12
        // Square off the bottom corners: only the top of a sheet is rounded.
        Rectangle {
            anchors.left: parent.left
            anchors.right: parent.right
            anchors.bottom: parent.bottom
            height: parent.radius
            color: parent.color
        }
    }

    ColumnLayout {
        anchors.fill: parent
        spacing: 0
        Accessible.role: Accessible.Dialog
        Accessible.name: "إضافة سورس"

        // The grabber that says this sheet can be swiped down.
        Rectangle {
            Layout.alignment: Qt.AlignHCenter
            Layout.topMargin: 6
            implicitWidth: 36
            implicitHeight: 5
            radius: 2.5
            color: "#48484a"
        }

        Item {
            Layout.fillWidth: true
            implicitHeight: 48

            component BarButton: AbstractButton {
                id: barButton
                anchors.verticalCenter: parent.verticalCenter
                implicitHeight: 44
                            contentItem: Text {
                    text: barButton.text
                    color: barButton.enabled ? Theme.blue : Theme.gray
                    font.pixelSize: Theme.bodySize
                    font.weight: barButton.objectName === "addSourceButton" ? Font.DemiBold : Font.Normal
                    verticalAlignment: Text.AlignVCenter
                }
            }

            BarButton {
                objectName: "cancelButton"
                anchors.left: parent.left
                anchors.leftMargin: 16
                text: "Cancel"
                onClicked: sheet.close()
            }
            Label {
                anchors.centerIn: parent
                text: "إضافة سورس"
                color: Theme.white
                font.pixelSize: Theme.headlineSize
                font.weight: Font.DemiBold
                        }
            BarButton {
                objectName: "addSourceButton"
                anchors.right: parent.right
                anchors.rightMargin: 16
                text: "Add source"
                // Spaces count as typed: the state object decides what a link is.
                enabled: linkField.text !== ""
                onClicked: sheet.add()
            }
        }

        Label {
            Layout.leftMargin: 32
            Layout.topMargin: 18
            text: "➕🔗"
            color: Theme.gray
            font.pixelSize: Theme.footnoteSize
        }

        Rectangle {
            Layout.fillWidth: true
            Layout.leftMargin: 16
            Layout.rightMargin: 16
            Layout.topMargin: 6
            implicitHeight: 44
            radius: 10
            color: Theme.cardBackground

            TextField {
                id: linkField
                objectName: "sourceLinkField"
                anchors.fill: parent
                leftPadding: 16
                rightPadding: 16
                placeholderText: "Source link"
                placeholderTextColor: Theme.gray
                color: Theme.white
                font.pixelSize: Theme.bodySize
                background: null
                selectByMouse: true
                // A link is typed as it is: no capitals added, no corrections.
                inputMethodHints: Qt.ImhUrlCharactersOnly | Qt.ImhNoAutoUppercase | Qt.ImhNoPredictiveText
                            Accessible.name: "Source link"
                onAccepted: sheet.add()
            }
        }

        // Whole lists of sources, as a package manager or another device keeps them.
        RowLayout {
            Layout.leftMargin: 16
            Layout.rightMargin: 16
            Layout.topMargin: 12
            spacing: 16

            Repeater {
                model: ["Import…", "Export…"]
                delegate: AbstractButton {
                    id: transferButton
                    required property string modelData
                    required property int index
                    objectName: transferButton.index === 0 ? "importListButton" : "exportListButton"
                    implicitHeight: 44
                    focusPolicy: Qt.StrongFocus
                    text: transferButton.modelData
                    Accessible.name: transferButton.index === 0 ? "Import a list of sources" : "Export the sources"
                    Keys.onReturnPressed: transferButton.clicked()
                    Keys.onEnterPressed: transferButton.clicked()
                    onClicked: {
                        sheet.close()
                        sheet.transferRequested(transferButton.index)
                    }
                    contentItem: Text {
                        text: transferButton.text
                        color: Theme.blue
                        font.pixelSize: Theme.bodySize
                        font.underline: transferButton.visualFocus
                        verticalAlignment: Text.AlignVCenter
                    }
                }
            }
        }

        Item {
            Layout.fillHeight: true
        }
    }
}
