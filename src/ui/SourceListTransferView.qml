pragma ComponentBehavior: Bound
import QtQuick
import QtQuick.Controls
import QtQuick.Dialogs
import QtQuick.Layouts
import TallowPine

// The sheet that brings a list of sources in (pasted, or from a .list / .sources / .txt file) and
// writes the user's sources out as .list, .sources or plain links, to the clipboard or to a file.
// An import adds through the state object like a typed link; the sheet stays open on its report so
// the user can fix the lines it names.
Drawer {
    id: sheet

    required property RepoViewModel viewModel
    // 0 import, 1 export; set by whoever opens the sheet.
    property int mode: 0
    // What the last import or file operation said, one line each.
    property var summaryLines: []
    property string exportStatus: ""

    readonly property alias openDialog: openDialog
    readonly property var formats: ["list", "sources", "links"]
    readonly property var scopes: ["added", "selected", "all"]
    readonly property string format: formats[formatPicker.currentIndex]
    readonly property string scope: scopes[scopePicker.currentIndex]
    // Follows every change of the list, the filter and the ticks: all of them refresh the copy button.
    readonly property string exportText: {
        sheet.viewModel.isCopyButtonEnabled
        sheet.viewModel.sourceCount
        return sheet.opened ? sheet.viewModel.exportSources(sheet.format, sheet.scope) : ""
    }
    readonly property int exportCount: {
        sheet.viewModel.isCopyButtonEnabled
        sheet.viewModel.sourceCount
        return sheet.opened ? sheet.viewModel.exportSourceCount(sheet.scope) : 0
    }

    edge: Qt.BottomEdge
    width: parent ? parent.width : 0
    height: parent ? Math.max(320, parent.height - 60) : 0
    modal: true
    interactive: true
    dim: true

    onAboutToShow: {
        summaryLines = []
        exportStatus = ""
    }
    onOpened: (mode === 0 ? importText.area : scopePicker).forceActiveFocus()

    function importPasted() {
        if (importText.text === "")
            return
        sheet.summaryLines = sheet.viewModel.importSourceText(importText.text).lines
    }
    function importFile(url) {
        sheet.summaryLines = sheet.viewModel.importSourceFile(url.toString()).lines
    }
    function sources(count) {
        return count + (count === 1 ? " source" : " sources")
    }
    function copyExport() {
        sheet.viewModel.copyText(sheet.exportText)
        sheet.exportStatus = "Copied " + sheet.sources(sheet.exportCount) + "."
    }
    function saveExport(url) {
        const error = sheet.viewModel.saveSourceExport(url.toString(), sheet.format, sheet.scope)
        sheet.exportStatus = error !== "" ? error : "Saved " + sheet.sources(sheet.exportCount) + "."
    }

    background: Rectangle {
        color: "#000000"
        radius: 12
        Rectangle {
            anchors.left: parent.left
            anchors.right: parent.right
            anchors.bottom: parent.bottom
            height: parent.radius
            color: parent.color
        }
    }

    component SheetButton: AbstractButton {
        id: button
        implicitHeight: 40
        leftPadding: 14
        rightPadding: 14
        focusPolicy: Qt.StrongFocus
        Accessible.name: button.text
        Keys.onReturnPressed: button.clicked()
        Keys.onEnterPressed: button.clicked()
        contentItem: Text {
            text: button.text
            color: button.enabled ? Theme.white : Theme.gray
            font.pixelSize: Theme.subheadlineSize
            font.weight: Font.DemiBold
            horizontalAlignment: Text.AlignHCenter
            verticalAlignment: Text.AlignVCenter
        }
        background: Rectangle {
            radius: 10
            color: button.enabled ? Theme.blue : Qt.rgba(0.04, 0.52, 1, 0.4)
            border.width: button.visualFocus ? 2 : 0
            border.color: Theme.white
        }
    }

    component TextBox: ScrollView {
        id: box
        property alias text: area.text
        property alias area: area
        property alias placeholderText: area.placeholderText
        property alias readOnly: area.readOnly
        property string name: ""
        // Lines wrap to the box: it scrolls down only.
        contentWidth: availableWidth
        Layout.fillWidth: true
        Layout.leftMargin: 16
        Layout.rightMargin: 16
        background: Rectangle {
            radius: 10
            color: Theme.cardBackground
            border.width: area.activeFocus ? 1 : 0
            border.color: Theme.blue
        }
        TextArea {
            id: area
            color: Theme.white
            placeholderTextColor: Theme.gray
            font.pixelSize: Theme.subheadlineSize
            wrapMode: TextEdit.WrapAnywhere
            selectByMouse: true
            background: null
            // Tab moves on to the buttons rather than typing a tab into a list of links.
            KeyNavigation.priority: KeyNavigation.BeforeItem
            Keys.onTabPressed: event => {
                area.nextItemInFocusChain(true).forceActiveFocus(Qt.TabFocusReason)
            }
            Keys.onBacktabPressed: event => {
                area.nextItemInFocusChain(false).forceActiveFocus(Qt.BacktabFocusReason)
            }
            inputMethodHints: Qt.ImhNoAutoUppercase | Qt.ImhNoPredictiveText
            Accessible.name: box.name
        }
    }

    ColumnLayout {
        anchors.fill: parent
        spacing: 10
        Accessible.role: Accessible.Dialog
        Accessible.name: "Import / Export"

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
            implicitHeight: 44

            AbstractButton {
                id: doneButton
                objectName: "transferDone"
                anchors.left: parent.left
                anchors.leftMargin: 16
                anchors.verticalCenter: parent.verticalCenter
                implicitHeight: 44
                text: "Done"
                Accessible.name: "Done"
                onClicked: sheet.close()
                contentItem: Text {
                    text: doneButton.text
                    color: Theme.blue
                    font.pixelSize: Theme.bodySize
                    verticalAlignment: Text.AlignVCenter
                }
            }
            Label {
                anchors.centerIn: parent
                text: "Import / Export"
                color: Theme.white
                font.pixelSize: Theme.headlineSize
                font.weight: Font.DemiBold
            }
        }

        SegmentedPicker {
            objectName: "transferModePicker"
            Layout.fillWidth: true
            Layout.leftMargin: 16
            Layout.rightMargin: 16
            label: "Import or export"
            labels: ["Import", "Export"]
            currentIndex: sheet.mode
            onActivated: index => sheet.mode = index
        }

        StackLayout {
            Layout.fillWidth: true
            Layout.fillHeight: true
            currentIndex: sheet.mode

            ColumnLayout {
                spacing: 10

                Label {
                    Layout.leftMargin: 16
                    Layout.rightMargin: 16
                    Layout.fillWidth: true
                    text: "Paste links, a .list or a .sources file"
                    color: Theme.gray
                    font.pixelSize: Theme.footnoteSize
                    wrapMode: Text.Wrap
                }
                TextBox {
                    id: importText
                    objectName: "importText"
                    name: "Source list to import"
                    Layout.fillHeight: true
                    Layout.minimumHeight: 80
                    placeholderText: "https://repo.example.com/\ndeb https://repo.example.com/ ./"
                }
                RowLayout {
                    Layout.leftMargin: 16
                    Layout.rightMargin: 16
                    spacing: 10
                    SheetButton {
                        objectName: "importButton"
                        text: "Import"
                        enabled: importText.text !== ""
                        onClicked: sheet.importPasted()
                    }
                    SheetButton {
                        objectName: "openFileButton"
                        text: "Open file…"
                        onClicked: openDialog.open()
                    }
                }
                TextBox {
                    objectName: "importSummary"
                    name: "Import result"
                    visible: sheet.summaryLines.length > 0
                    Layout.preferredHeight: Math.min(160, area.implicitHeight + 4)
                    readOnly: true
                    text: sheet.summaryLines.join("\n")
                }
            }

            ColumnLayout {
                spacing: 10

                SegmentedPicker {
                    id: scopePicker
                    objectName: "exportScopePicker"
                    Layout.fillWidth: true
                    Layout.leftMargin: 16
                    Layout.rightMargin: 16
                    label: "Sources to export"
                    labels: ["My sources", "Selected", "All"]
                    onActivated: index => scopePicker.currentIndex = index
                }
                SegmentedPicker {
                    id: formatPicker
                    objectName: "exportFormatPicker"
                    Layout.fillWidth: true
                    Layout.leftMargin: 16
                    Layout.rightMargin: 16
                    label: "Export format"
                    labels: [".list", ".sources", "Links"]
                    onActivated: index => formatPicker.currentIndex = index
                }
                Label {
                    objectName: "exportCount"
                    Layout.leftMargin: 16
                    text: sheet.sources(sheet.exportCount)
                    color: Theme.gray
                    font.pixelSize: Theme.footnoteSize
                }
                TextBox {
                    objectName: "exportPreview"
                    name: "Exported list"
                    Layout.fillHeight: true
                    Layout.minimumHeight: 80
                    readOnly: true
                    text: sheet.exportText
                }
                RowLayout {
                    Layout.leftMargin: 16
                    Layout.rightMargin: 16
                    spacing: 10
                    SheetButton {
                        objectName: "copyExport"
                        text: "Copy"
                        enabled: sheet.exportCount > 0
                        onClicked: sheet.copyExport()
                    }
                    SheetButton {
                        objectName: "saveExportButton"
                        text: "Save to file…"
                        enabled: sheet.exportCount > 0
                        onClicked: saveDialog.open()
                    }
                }
                Label {
                    objectName: "exportStatus"
                    Layout.fillWidth: true
                    Layout.leftMargin: 16
                    Layout.rightMargin: 16
                    visible: text !== ""
                    text: sheet.exportStatus
                    color: Theme.secondaryText
                    font.pixelSize: Theme.footnoteSize
                    wrapMode: Text.Wrap
                }
            }
        }

        Item {
            implicitHeight: 8
        }
    }

    FileDialog {
        id: openDialog
        title: "Import sources"
        fileMode: FileDialog.OpenFile
        nameFilters: ["Source lists (*.list *.sources *.txt)", "All files (*)"]
        onAccepted: sheet.importFile(openDialog.selectedFile)
    }

    FileDialog {
        id: saveDialog
        title: "Export sources"
        fileMode: FileDialog.SaveFile
        defaultSuffix: sheet.format === "links" ? "txt" : sheet.format
        nameFilters: [sheet.format === "links" ? "Links (*.txt)" : "Source list (*." + sheet.format + ")"]
        onAccepted: sheet.saveExport(saveDialog.selectedFile)
    }
}
