pragma ComponentBehavior: Bound
import QtQuick
import QtQuick.Controls
import TallowPine

// A scrolling list of package cards, shared by the main screen and a source's package screen.
// Rows are recycled while scrolling; arrows move between them and Enter opens one in Sileo.
ListView {
    id: list

    required property RepoViewModel viewModel

    clip: true
    reuseItems: true
    spacing: 12
    topMargin: 6
    bottomMargin: 16
    cacheBuffer: 600
    keyNavigationEnabled: true
    boundsBehavior: Flickable.StopAtBounds
    highlightMoveDuration: 0
    activeFocusOnTab: true
    Accessible.role: Accessible.List
    Accessible.name: "Packages"
    ScrollBar.vertical: ScrollBar {}

    Keys.onReturnPressed: if (list.currentItem) list.currentItem.activate()
    Keys.onEnterPressed: if (list.currentItem) list.currentItem.activate()

    delegate: PackageRow {
        viewModel: list.viewModel
        width: ListView.view.width - 2 * Theme.rowInset
        x: Theme.rowInset
        onCopyConfirmed: message => {
            copyAlert.message = message
            copyAlert.open()
        }
        onQrRequested: address => qrPopup.show(address)
    }

    AlertDialog {
        id: copyAlert
        objectName: "copyAlert"
        parent: Overlay.overlay
        title: "تم النسخ"
    }

    QrPopup {
        id: qrPopup
        objectName: "qrPopup"
        parent: Overlay.overlay
    }
}
