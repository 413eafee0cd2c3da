pragma ComponentBehavior: Bound
import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import TallowPine

// The card for one source: icon, name and link, the selection mark, and a row of actions.
// A tap anywhere that no button takes toggles the selection.
AbstractButton {
    id: row

    required property RepoViewModel viewModel
    required property string name
    required property string link
    required property string imageName
    required property bool isDefault
    required property bool isFavorite
    required property bool isSelected
    required property bool isLoading

    readonly property bool isDeletable: !row.isDefault
    // The card the arrow keys have reached while the list has the keyboard.
    readonly property bool isKeyboardCurrent: row.ListView.isCurrentItem && row.ListView.view.activeFocus

    // Asks the screen to show the link as a QR code; one popup serves the whole list.
    signal qrRequested(string address)

    padding: Theme.defaultPadding
    focusPolicy: Qt.StrongFocus
    Accessible.role: Accessible.ListItem
    Accessible.name: row.name
    Accessible.description: row.link
    Accessible.checkable: true
    Accessible.checked: row.isSelected
    onClicked: row.viewModel.toggleSelection(row.viewModel.sourceForLink(row.link))

    background: Item {
        // A soft drop shadow, drawn as a darker card just below this one.
        Rectangle {
            anchors.fill: parent
            anchors.topMargin: 4
            anchors.bottomMargin: -4
            radius: 20
            color: Qt.rgba(0, 0, 0, 0.1)
        }
        Rectangle {
            anchors.fill: parent
            radius: 20
            color: row.isSelected ? Theme.translucent(Theme.blue, 0.2) : Theme.cardBackground
            border.width: row.isSelected || row.isKeyboardCurrent ? 2 : 0
            border.color: row.isSelected ? Theme.blue : Theme.gray
            Behavior on color {
                ColorAnimation {
                    duration: 200
                }
            }
        }
    }

    contentItem: ColumnLayout {
        spacing: 15

        RowLayout {
            spacing: 12
            Layout.fillWidth: true

            RepoImageView {
                imageName: row.imageName
            }

            ColumnLayout {
                spacing: 11
                Layout.fillWidth: true
                Label {
                    Layout.fillWidth: true
                    text: row.name
                    color: Theme.white
                    font.pixelSize: Theme.headlineSize
                    font.weight: Font.DemiBold
                    maximumLineCount: 1
                    elide: Text.ElideRight
                    // Names in any script start at the card's leading edge.
                    horizontalAlignment: Text.AlignLeft
                }
                Label {
                    Layout.fillWidth: true
                    text: row.link
                    color: Theme.blue
                    font.pixelSize: Theme.subheadlineSize
                    maximumLineCount: 1
                    elide: Text.ElideRight
                    horizontalAlignment: Text.AlignLeft
                }
            }

            AbstractButton {
                id: mark
                objectName: "selectionMark"
                implicitWidth: 34
                implicitHeight: 34
                Accessible.name: row.isSelected ? "Deselect " + row.name : "Select " + row.name
                onClicked: row.viewModel.toggleSelection(row.viewModel.sourceForLink(row.link))
                contentItem: SymbolIcon {
                    name: row.isSelected ? "checkmark.circle.fill" : "circle"
                    color: row.isSelected ? Theme.green : Theme.gray
                    size: Theme.titleSize
                    Behavior on color {
                        ColorAnimation {
                            duration: 200
                            easing.type: Easing.InOutQuad
                        }
                    }
                }
            }
        }

        Row {
            id: actions
            Layout.fillWidth: true
            // The phone spaces these 23 apart; a narrow window closes the gaps instead of clipping.
            readonly property real buttonsWidth: 25 + 25 + 30 * 3 + 23 + 23 + (row.isDeletable ? 25 : 0)
            readonly property int gaps: row.isDeletable ? 7 : 6
            spacing: Math.max(4, Math.min(23, (width - buttonsWidth) / gaps))

            ActionButton {
                objectName: "copyLink"
                anchors.verticalCenter: parent.verticalCenter
                systemName: "doc.on.doc"
                color: Theme.blue
                Accessible.name: "Copy link"
                onClicked: row.viewModel.copyToClipboard(row.link)
            }
            AbstractButton {
                id: qrButton
                objectName: "qrLink"
                anchors.verticalCenter: parent.verticalCenter
                implicitWidth: 25
                implicitHeight: 25
                opacity: qrButton.pressed ? 0.5 : 1
                Accessible.name: "QR code of the link"
                onClicked: row.qrRequested(row.link)
                contentItem: Text {
                    text: "QR"
                    color: Theme.blue
                    font.pixelSize: 11
                    font.weight: Font.Bold
                    horizontalAlignment: Text.AlignHCenter
                    verticalAlignment: Text.AlignVCenter
                }
                background: Rectangle {
                    color: "transparent"
                    border.width: 1.5
                    border.color: Theme.blue
                    radius: 5
                }
            }
            CustomImageButton {
                anchors.verticalCenter: parent.verticalCenter
                imageName: "s_sileo"
                fallbackSystemName: "questionmark.circle"
                Accessible.name: "Open in Sileo"
                onClicked: row.viewModel.openInSileo(row.link)
            }
            CustomImageButton {
                anchors.verticalCenter: parent.verticalCenter
                imageName: "z_zebra"
                fallbackSystemName: "questionmark.circle"
                Accessible.name: "Open in Zebra"
                onClicked: row.viewModel.openInZebra(row.link)
            }
            CustomImageButton {
                anchors.verticalCenter: parent.verticalCenter
                imageName: "c_cydia"
                fallbackSystemName: "questionmark.circle"
                Accessible.name: "Open in Cydia"
                onClicked: row.viewModel.openCydia(row.link)
            }
            AbstractButton {
                id: packagesButton
                objectName: "showPackages"
                anchors.verticalCenter: parent.verticalCenter
                implicitWidth: 23
                implicitHeight: 30
                Accessible.name: "Packages of " + row.name
                // The list always opens on freshly validated data.
                onClicked: row.viewModel.showSourcePackages(row.link)
                contentItem: Item {
                    BusyIndicator {
                        anchors.centerIn: parent
                        width: 23
                        height: 23
                        padding: 0
                        running: row.isLoading
                        visible: row.isLoading
                    }
                    SymbolIcon {
                        anchors.centerIn: parent
                        visible: !row.isLoading
                        name: "square.and.arrow.down"
                        color: Theme.green
                        size: 26
                    }
                }
            }
            AbstractButton {
                objectName: "favorite"
                anchors.verticalCenter: parent.verticalCenter
                implicitWidth: 23
                implicitHeight: 40
                Accessible.name: row.isFavorite ? "Remove from favourites" : "Add to favourites"
                onClicked: row.viewModel.toggleFavorite(row.viewModel.sourceForLink(row.link))
                contentItem: SymbolIcon {
                    name: row.isFavorite ? "star.fill" : "star"
                    color: row.isFavorite ? Theme.yellow : Theme.white
                    size: Theme.title2Size + 2
                }
            }
            ActionButton {
                objectName: "delete"
                anchors.verticalCenter: parent.verticalCenter
                visible: row.isDeletable
                systemName: "trash"
                color: Theme.red
                Accessible.name: "Delete " + row.name
                onClicked: row.viewModel.deleteSource(row.viewModel.sourceForLink(row.link))
            }
        }
    }
}
