pragma ComponentBehavior: Bound
import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import TallowPine

// The card for one package: icon, name, installed state and details, and the .deb actions.
Control {
    id: row

    required property RepoViewModel viewModel
    required property var identifier
    required property var name
    required property var version
    required property var description
    required property var filename
    required property var iconURL
    required property var architecture
    required property string sourceLink
    required property string debURL
    required property bool installed

    // Absent fields arrive as undefined; "N/A" stands for them, an empty text stays empty.
    readonly property string shownName: row.name ?? "N/A"

    // Asks the screen to confirm a copy; the confirmation belongs to the row, not to the state object.
    signal copyConfirmed(string message)
    // Asks the screen to show a link as a QR code; one popup serves the whole list.
    signal qrRequested(string address)

    function activate() {
        header.clicked()
    }

    padding: Theme.defaultPadding
    Accessible.role: Accessible.ListItem
    Accessible.name: row.shownName

    background: Item {
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
            color: Theme.cardBackground
            border.width: row.ListView.isCurrentItem && row.ListView.view.activeFocus ? 2 : 0
            border.color: Theme.gray
        }
    }

    contentItem: ColumnLayout {
        spacing: 10

        AbstractButton {
            id: header
            objectName: "packageHeader"
            Layout.fillWidth: true
            Accessible.name: "Open " + row.shownName + " in Sileo"
            onClicked: row.viewModel.openPackageInSileo(row.identifier ?? "")
            contentItem: RowLayout {
                spacing: 12
                URLImageView {
                    visible: !!row.iconURL
                    urlString: row.iconURL ?? ""
                    Layout.preferredWidth: 50
                    Layout.preferredHeight: 50
                }
                Text {
                    Layout.fillWidth: true
                    text: row.shownName
                    color: Theme.white
                    font.pixelSize: Theme.headlineSize
                    font.weight: Font.DemiBold
                    wrapMode: Text.Wrap
                    maximumLineCount: 2
                    elide: Text.ElideRight
                    horizontalAlignment: Text.AlignLeft
                }
                Rectangle {
                    implicitWidth: badge.implicitWidth + 28
                    implicitHeight: badge.implicitHeight + 12
                    radius: 10
                    color: Theme.blue
                    Text {
                        id: badge
                        objectName: "badge"
                        anchors.centerIn: parent
                        text: row.installed ? "MODIFY" : "GET"
                        color: Theme.white
                        font.pixelSize: 14
                        font.bold: true
                    }
                }
                AbstractButton {
                    id: sileoQr
                    objectName: "qrSileo"
                    implicitWidth: 26
                    implicitHeight: 26
                    enabled: !!row.identifier
                    opacity: sileoQr.enabled ? (sileoQr.pressed ? 0.5 : 1) : 0.4
                    Accessible.name: "QR code of the Sileo link"
                    onClicked: row.qrRequested(HandoffAddresses.sileoPackage(row.identifier ?? ""))
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
            }
        }

        RowLayout {
            objectName: "installedMark"
            visible: row.installed
            spacing: 6
            Layout.topMargin: 4
            SymbolIcon {
                name: "checkmark.circle.fill"
                color: Theme.green
                size: Theme.subheadlineSize + 3
            }
            Text {
                text: "installed"
                color: Theme.green
                font.pixelSize: Theme.subheadlineSize
                font.weight: Font.DemiBold
            }
        }

        GridLayout {
            columns: 2
            columnSpacing: 7
            rowSpacing: 4
            Layout.fillWidth: true

            component DetailLabel: Text {
                color: Theme.white
                font.pixelSize: Theme.subheadlineSize
            }
            component DetailValue: Text {
                Layout.fillWidth: true
                color: Theme.secondaryText
                font.pixelSize: Theme.subheadlineSize
                elide: Text.ElideRight
                horizontalAlignment: Text.AlignLeft
            }

            DetailLabel {
                text: "Package:"
            }
            DetailValue {
                text: row.identifier ?? "N/A"
            }
            DetailLabel {
                text: "Version:"
            }
            DetailValue {
                text: row.version ?? "N/A"
            }
            DetailLabel {
                text: "Architecture:"
            }
            DetailValue {
                text: row.architecture != null ? row.architecture.toUpperCase() : "N/A"
            }
        }

        Text {
            visible: !!row.description
            text: "Description:"
            color: Theme.white
            font.pixelSize: Theme.footnoteSize
        }
        Text {
            objectName: "description"
            visible: !!row.description
            Layout.fillWidth: true
            text: row.description ?? ""
            color: Theme.secondaryText
            font.pixelSize: Theme.footnoteSize
            wrapMode: Text.Wrap
            horizontalAlignment: Text.AlignLeft
        }

        RowLayout {
            id: debActions
            objectName: "debActions"
            visible: !!row.filename
            spacing: 20
            Layout.topMargin: 8
            // The same order whatever the language of the desktop.
            LayoutMirroring.enabled: false
            LayoutMirroring.childrenInherit: true

            component DebAction: AbstractButton {
                id: action
                property string systemName
                property color tint
                Accessible.name: action.text
                contentItem: Row {
                    spacing: 4
                    SymbolIcon {
                        anchors.verticalCenter: parent.verticalCenter
                        name: action.systemName
                        color: action.tint
                        size: 18
                    }
                    Text {
                        anchors.verticalCenter: parent.verticalCenter
                        text: action.text
                        color: action.tint
                        font.pixelSize: 10
                        font.weight: Font.DemiBold
                    }
                }
            }

            DebAction {
                objectName: "downloadDeb"
                text: "Download .deb"
                systemName: "square.and.arrow.down"
                tint: Theme.green
                onClicked: {
                    if (row.debURL !== "")
                        row.viewModel.openDownload(row.debURL)
                }
            }
            DebAction {
                id: copyDebLink
                objectName: "copyDebLink"
                text: "Copy .deb link"
                systemName: "link"
                tint: Theme.blue
                onClicked: {
                    row.viewModel.copyText(row.debURL)
                    row.copyConfirmed("تم نسخ رابط الحزمة إلى الحافظة\nPackage deb link copied.")
                }
            }
            DebAction {
                id: copySource
                objectName: "copySource"
                text: "Copy Source"
                systemName: "doc.on.doc"
                tint: Theme.blue
                onClicked: {
                    row.viewModel.copyText(row.sourceLink)
                    row.copyConfirmed("تم نسخ رابط السورس إلى الحافظة\nSource link copied.")
                }
            }
        }

        // Each link's QR code sits right under the action that hands the link off: the actions already
        // fill a phone-wide card, so a code beside them would push the last one out of sight.
        Item {
            objectName: "qrActions"
            visible: debActions.visible
            Layout.fillWidth: true
            Layout.topMargin: -4
            implicitHeight: 18
            LayoutMirroring.enabled: false
            LayoutMirroring.childrenInherit: true

            component QrAction: AbstractButton {
                id: qr
                property string address
                property string what
                implicitWidth: 22
                implicitHeight: 18
                enabled: qr.address !== ""
                opacity: qr.enabled ? (qr.pressed ? 0.5 : 1) : 0.4
                Accessible.name: "QR code of the " + qr.what
                onClicked: row.qrRequested(qr.address)
                contentItem: Text {
                    text: "QR"
                    color: Theme.blue
                    font.pixelSize: 10
                    font.weight: Font.Bold
                    horizontalAlignment: Text.AlignHCenter
                    verticalAlignment: Text.AlignVCenter
                }
                background: Rectangle {
                    color: "transparent"
                    border.width: 1
                    border.color: Theme.blue
                    radius: 4
                }
            }

            QrAction {
                objectName: "qrDebLink"
                x: copyDebLink.x
                address: row.debURL
                what: ".deb link"
            }
            QrAction {
                objectName: "qrSourceLink"
                x: copySource.x
                address: row.sourceLink
                what: "source link"
            }
        }
    }
}
