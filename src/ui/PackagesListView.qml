pragma ComponentBehavior: Bound
import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import TallowPine

// One source's packages as they were when the screen opened, with a search of its own, the shared
// architecture choice and an installed-only switch.
FocusScope {
    id: screen

    required property RepoViewModel viewModel
    required property string sourceLink
    // The packages as they are when the screen opens, and their filtering; owned by this screen.
    readonly property SourcePackagesModel packagesModel: screen.viewModel.makeSourcePackagesModel(screen.sourceLink,
                                                                                                   screen)

    signal back()

    function focusSearch() {
        searchField.forceActiveFocus()
        searchField.selectAll()
    }

    Binding {
        target: screen.packagesModel
        property: "selectedArchitecture"
        value: screen.viewModel.selectedArchitecture
    }
    Binding {
        target: screen.packagesModel
        property: "searchText"
        value: searchField.text
    }

    ColumnLayout {
        anchors.fill: parent
        spacing: 0

        // The navigation bar: back, the title, and the installed-only switch.
        Item {
            Layout.fillWidth: true
            implicitHeight: 44

            AbstractButton {
                id: backButton
                objectName: "backButton"
                anchors.left: parent.left
                anchors.leftMargin: 8
                anchors.verticalCenter: parent.verticalCenter
                implicitHeight: 44
                Accessible.name: "Back"
                onClicked: screen.back()
                contentItem: Row {
                    spacing: 2
                    SymbolIcon {
                        anchors.verticalCenter: parent.verticalCenter
                        name: "chevron.backward"
                        color: Theme.blue
                        size: 26
                    }
                    Text {
                        anchors.verticalCenter: parent.verticalCenter
                        text: "Back"
                        color: Theme.blue
                        font.pixelSize: Theme.bodySize
                    }
                }
            }
            Label {
                objectName: "screenTitle"
                anchors.centerIn: parent
                width: Math.min(implicitWidth, parent.width - 2 * (backButton.width + 16))
                text: screen.packagesModel.title
                color: Theme.white
                font.pixelSize: Theme.headlineSize
                font.weight: Font.DemiBold
                elide: Text.ElideRight
                Accessible.role: Accessible.Heading
            }
            AbstractButton {
                objectName: "installedOnly"
                anchors.right: parent.right
                anchors.rightMargin: 12
                anchors.verticalCenter: parent.verticalCenter
                implicitWidth: 36
                implicitHeight: 36
                checkable: true
                checked: screen.packagesModel.showOnlyInstalled
                Accessible.name: "Show only installed packages"
                onToggled: {
                    screen.packagesModel.showOnlyInstalled = checked
                    screen.viewModel.performHapticFeedback()
                }
                contentItem: SymbolIcon {
                    name: screen.packagesModel.showOnlyInstalled ? "arrow.down.circle.fill" : "arrow.down.circle"
                    color: Theme.blue
                    size: Theme.title3Size + 6
                }
            }
        }

        // Search field.
        Rectangle {
            Layout.fillWidth: true
            Layout.leftMargin: Theme.rowInset
            Layout.rightMargin: Theme.rowInset
            Layout.topMargin: 10
            implicitHeight: searchRow.implicitHeight + 14
            radius: 8
            color: Theme.translucent(Theme.gray, 0.2)
            RowLayout {
                id: searchRow
                anchors.fill: parent
                anchors.margins: 7
                spacing: 6
                SymbolIcon {
                    name: "magnifyingglass"
                    color: Theme.gray
                    size: 20
                }
                TextField {
                    id: searchField
                    objectName: "packageSearch"
                    Layout.fillWidth: true
                    placeholderText: "Search Packages..."
                    placeholderTextColor: Theme.gray
                    color: Theme.white
                    padding: 0
                    font.pixelSize: Theme.bodySize
                    background: null
                    selectByMouse: true
                    Accessible.name: "Search Packages"
                    Keys.onDownPressed: packageList.forceActiveFocus()
                }
            }
        }

        SegmentedPicker {
            objectName: "packageArchitecturePicker"
            Layout.fillWidth: true
            Layout.leftMargin: Theme.rowInset
            Layout.rightMargin: Theme.rowInset
            Layout.topMargin: 4 + 6
            label: "Architecture"
            labels: ["All Architectures"].concat(screen.viewModel.availableArchitectures)
            currentIndex: screen.viewModel.selectedArchitecture == null ? 0
                          : screen.viewModel.availableArchitectures.indexOf(screen.viewModel.selectedArchitecture) + 1
            onActivated: index => screen.viewModel.selectedArchitecture
                         = index === 0 ? null : screen.viewModel.availableArchitectures[index - 1]
        }

        Item {
            Layout.fillWidth: true
            Layout.fillHeight: true
            Layout.topMargin: 8

            Label {
                objectName: "emptyHint"
                visible: screen.packagesModel.count === 0
                anchors.left: parent.left
                anchors.right: parent.right
                anchors.top: parent.top
                anchors.leftMargin: Theme.rowInset + 8
                anchors.rightMargin: Theme.rowInset + 8
                anchors.topMargin: 8
                text: "اضف سورس في سيلو وحدث سورسات من سيلو حتى تظهر الأدوات                              Add the source in Sileo and update sources within Sileo to show the tools."
                color: Theme.red
                font.pixelSize: Theme.headlineSize
                font.weight: Font.DemiBold
                wrapMode: Text.Wrap
            }

            PackageList {
                id: packageList
                objectName: "sourcePackageList"
                anchors.fill: parent
                visible: screen.packagesModel.count > 0
                viewModel: screen.viewModel
                model: screen.packagesModel
                Keys.onUpPressed: event => {
                    if (packageList.currentIndex <= 0)
                        searchField.forceActiveFocus()
                    else
                        event.accepted = false
                }
            }
        }
    }
}
