import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import TallowPine

// The main screen's content: search and tools on top, then the list the chosen mode asks for.
FocusScope {
    id: column

    required property RepoViewModel viewModel
    readonly property bool packagesMode: column.viewModel.selectedMode === RepoViewModel.AllPackages

    // The health button was pressed; the navigation belongs to the screen that holds this column.
    signal healthRequested()

    function focusSearch() {
        searchField.forceActiveFocus()
        searchField.selectAll()
    }

    ColumnLayout {
        anchors.fill: parent
        spacing: 10

        // Row 1: search, the social button and the add button.
        RowLayout {
            Layout.fillWidth: true
            Layout.leftMargin: Theme.rowInset
            Layout.rightMargin: Theme.rowInset
            Layout.topMargin: 7
            spacing: 8

            TextField {
                id: searchField
                objectName: "sourceSearch"
                Layout.fillWidth: true
                Layout.minimumWidth: 80
                implicitHeight: 40
                leftPadding: 10
                rightPadding: 10
                topPadding: 7
                bottomPadding: 7
                placeholderText: "Search Repos..."
                placeholderTextColor: Theme.gray
                color: Theme.white
                font.pixelSize: Theme.bodySize
                selectByMouse: true
                text: column.viewModel.searchText
                onTextEdited: column.viewModel.searchText = text
                Accessible.name: "Search Repos"
                Keys.onDownPressed: listLoader.item.forceActiveFocus()
                background: Rectangle {
                    radius: 10
                    color: Theme.translucent(Theme.gray, 0.4)
                    border.width: searchField.activeFocus ? 1 : 0
                    border.color: Theme.blue
                }
            }

            AbstractButton {
                id: socialButton
                objectName: "socialButton"
                padding: 8
                Accessible.name: "Follow " + column.viewModel.socialHandle
                onClicked: column.viewModel.openSocialPage()
                background: Rectangle {
                    radius: 8
                    color: Theme.translucent(Theme.gray, 0.4)
                }
                contentItem: Row {
                    spacing: 4
                    SymbolIcon {
                        anchors.verticalCenter: parent.verticalCenter
                        name: "bird"
                        color: Theme.blue
                        size: 18
                    }
                    Text {
                        anchors.verticalCenter: parent.verticalCenter
                        // In a narrow window the bird alone stands for the button.
                        visible: column.width >= 360
                        text: column.viewModel.socialHandle
                        color: Theme.blue
                        font.pixelSize: 16
                        font.bold: true
                    }
                }
            }

            AbstractButton {
                objectName: "healthButton"
                padding: 8
                Accessible.name: "Source health"
                onClicked: column.healthRequested()
                background: Rectangle {
                    radius: 8
                    color: Theme.translucent(Theme.gray, 0.4)
                }
                contentItem: SymbolIcon {
                    name: "stethoscope"
                    color: Theme.blue
                    size: Theme.title2Size + 2
                }
            }

            AbstractButton {
                objectName: "addButton"
                padding: 8
                Accessible.name: "Add source"
                onClicked: column.viewModel.isAddSourcePresented = true
                background: Rectangle {
                    radius: 8
                    color: Theme.green
                }
                contentItem: SymbolIcon {
                    name: "plus"
                    color: Theme.white
                    size: Theme.title2Size + 2
                }
            }
        }

        // Row 2: the selection tools, for the source lists only.
        RowLayout {
            objectName: "selectionTools"
            visible: !column.packagesMode
            Layout.fillWidth: true
            // Lets the row be narrower than its natural width; the pills shrink instead.
            Layout.minimumWidth: 240
            Layout.leftMargin: Theme.rowInset
            Layout.rightMargin: Theme.rowInset
            Layout.topMargin: 4
            spacing: 8

            AbstractButton {
                id: selectAllButton
                objectName: "selectAll"
                implicitWidth: 30
                implicitHeight: 30
                Accessible.name: column.viewModel.isAllSelected ? "Deselect all" : "Select all"
                onClicked: {
                    if (column.viewModel.isAllSelected)
                        column.viewModel.deselectAll()
                    else
                        column.viewModel.selectAll()
                }
                contentItem: SymbolIcon {
                    name: column.viewModel.isAllSelected ? "checkmark.square.fill" : "square"
                    color: column.viewModel.isAllSelected ? Theme.green : Theme.gray
                    size: Theme.title2Size + 4
                    Behavior on color {
                        ColorAnimation {
                            duration: 200
                            easing.type: Easing.InOutQuad
                        }
                    }
                }
            }

            component PillButton: AbstractButton {
                id: pill
                property color textColor
                property color fill
                // In a narrow window the pills give up width first and their text shrinks to fit.
                Layout.minimumWidth: 64
                Layout.preferredWidth: implicitWidth
                Layout.maximumWidth: implicitWidth
                Layout.fillWidth: true
                topPadding: 5
                bottomPadding: 5
                leftPadding: 10
                rightPadding: 10
                Accessible.name: pill.text
                contentItem: Text {
                    text: pill.text
                    color: pill.textColor
                    font.pixelSize: Theme.bodySize - 1
                    font.bold: true
                    horizontalAlignment: Text.AlignHCenter
                    fontSizeMode: Text.HorizontalFit
                    minimumPixelSize: 10
                    verticalAlignment: Text.AlignVCenter
                    Behavior on color {
                        ColorAnimation {
                            duration: 200
                        }
                    }
                }
                background: Rectangle {
                    radius: 10
                    color: pill.fill
                    Behavior on color {
                        ColorAnimation {
                            duration: 200
                        }
                    }
                }
            }

            PillButton {
                objectName: "copySelected"
                text: "Copy ⎘ ✓"
                enabled: column.viewModel.isCopyButtonEnabled
                textColor: enabled ? Theme.white : Theme.gray
                fill: Theme.translucent(Theme.blue, enabled ? 1 : 0.4)
                onClicked: column.viewModel.copySelectedSources()
            }
            PillButton {
                objectName: "deselect"
                text: "Deselect ⎘"
                enabled: column.viewModel.isCopyButtonEnabled
                textColor: enabled ? Theme.red : Theme.white
                fill: Theme.translucent(Theme.gray, 0.4)
                onClicked: column.viewModel.deselectAll()
            }

            Item {
                Layout.fillWidth: true
                Layout.minimumWidth: 0
            }

            Label {
                objectName: "selectionCount"
                Layout.minimumWidth: 56
                Layout.preferredWidth: implicitWidth
                Layout.maximumWidth: implicitWidth
                Layout.fillWidth: true
                fontSizeMode: Text.HorizontalFit
                minimumPixelSize: 10
                horizontalAlignment: Text.AlignHCenter
                text: "✓: " + column.viewModel.selectedSourceCount
                color: Theme.green
                font.pixelSize: Theme.headlineSize
                font.weight: Font.DemiBold
                topPadding: 5
                bottomPadding: 5
                leftPadding: 13
                rightPadding: 13
                background: Rectangle {
                    radius: 10
                    color: Theme.translucent(Theme.gray, 0.4)
                }
            }
        }

        // Row 3: the mode picker.
        SegmentedPicker {
            objectName: "modePicker"
            Layout.fillWidth: true
            Layout.leftMargin: Theme.rowInset
            Layout.rightMargin: Theme.rowInset
            Layout.topMargin: 4
            label: "Mode"
            labels: [column.viewModel.description(RepoViewModel.Favorites),
                column.viewModel.description(RepoViewModel.AllSources),
                column.viewModel.description(RepoViewModel.AllPackages)]
            currentIndex: column.viewModel.selectedMode
            onActivated: index => column.viewModel.selectedMode = index
        }

        // While every source loads: how many have answered, and how many packages they brought.
        ColumnLayout {
            objectName: "loadProgress"
            visible: column.viewModel.loadInProgress
            Layout.fillWidth: true
            Layout.leftMargin: Theme.rowInset
            Layout.rightMargin: Theme.rowInset
            spacing: 3

            ProgressBar {
                id: loadBar
                Layout.fillWidth: true
                implicitHeight: 3
                from: 0
                to: Math.max(1, column.viewModel.loadTotal)
                value: column.viewModel.loadDone
                Accessible.name: "Loading sources"
                background: Rectangle {
                    radius: 1.5
                    color: Theme.translucent(Theme.gray, 0.4)
                }
                contentItem: Item {
                    Rectangle {
                        width: loadBar.visualPosition * parent.width
                        height: parent.height
                        radius: 1.5
                        color: Theme.blue
                    }
                }
            }
            Label {
                objectName: "loadCaption"
                Layout.fillWidth: true
                readonly property int packageCount: column.viewModel.loadedPackageCount
                text: column.viewModel.loadDone + " / " + column.viewModel.loadTotal + " sources · "
                      + packageCount.toLocaleString(Qt.locale("en_US"), "f", 0)
                      + (packageCount === 1 ? " package" : " packages")
                color: Theme.secondaryText
                font.pixelSize: Theme.footnoteSize
                elide: Text.ElideRight
            }
        }

        // The list: sources in the two source modes, packages in the third. Coming back to the
        // packages mode builds its list again, and that starts a load of every source.
        Loader {
            id: listLoader
            objectName: "listSection"
            Layout.fillWidth: true
            Layout.fillHeight: true
            sourceComponent: column.packagesMode ? packagesSection : sourcesSection
        }
    }

    Component {
        id: packagesSection
        AllPackagesSection {
            viewModel: column.viewModel
        }
    }

    Component {
        id: sourcesSection
        SourcesSection {
            viewModel: column.viewModel
        }
    }
}
