pragma ComponentBehavior: Bound
import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import TallowPine

// Every source's packages in one list, narrowed by the search and the architecture picker.
// Each time it appears it asks for every source to be loaded; what reloads is the loader's call.
FocusScope {
    id: section

    required property RepoViewModel viewModel

    Component.onCompleted: section.viewModel.loadAllPackages()

    ColumnLayout {
        anchors.fill: parent
        spacing: 10

        Label {
            objectName: "totalPackages"
            Layout.leftMargin: Theme.rowInset
            Layout.rightMargin: Theme.rowInset
            text: "Total Packages: " + section.viewModel.filteredPackagesModel.count
            color: Theme.white
            font.pixelSize: Theme.headlineSize
            font.weight: Font.DemiBold
        }

        SegmentedPicker {
            objectName: "architecturePicker"
            Layout.fillWidth: true
            Layout.leftMargin: Theme.rowInset
            Layout.rightMargin: Theme.rowInset
            Layout.topMargin: 4
            label: "Architecture"
            labels: ["All"].concat(section.viewModel.availableArchitectures)
            currentIndex: section.viewModel.selectedArchitecture == null ? 0
                          : section.viewModel.availableArchitectures.indexOf(section.viewModel.selectedArchitecture) + 1
            onActivated: index => section.viewModel.selectedArchitecture
                         = index === 0 ? null : section.viewModel.availableArchitectures[index - 1]
        }

        PackageList {
            id: list
            objectName: "allPackagesList"
            focus: true
            Layout.fillWidth: true
            Layout.fillHeight: true
            viewModel: section.viewModel
            model: section.viewModel.filteredPackagesModel
        }
    }
}
