import QtQuick
import QtQuick.Controls
import TallowPine

// The source cards of the favourites or of every source, with a way back to the top of a long list.
// Not a bound-component file: Qt 6.4's ListView cannot create a bound header, and the delegate takes
// everything it needs as required properties anyway.
ListView {
    id: list

    required property RepoViewModel viewModel
    readonly property bool favoritesMode: list.viewModel.selectedMode === RepoViewModel.Favorites
    // How far the list has been scrolled from its top, in points.
    readonly property real scrolled: list.contentY - list.originY + list.topMargin
    readonly property bool showScrollToTop: list.scrolled > 400

    objectName: "sourceList"
    clip: true
    reuseItems: true
    spacing: 15
    topMargin: 10
    // Room below the last card, so the scroll-to-top button never sits on its actions.
    bottomMargin: 80
    cacheBuffer: 400
    focus: true
    keyNavigationEnabled: true
    boundsBehavior: Flickable.StopAtBounds
    highlightMoveDuration: 0
    Accessible.role: Accessible.List
    Accessible.name: list.favoritesMode ? "Favorite sources" : "Sources"
    model: list.viewModel.sourceModel
    ScrollBar.vertical: ScrollBar {}

    Keys.onReturnPressed: if (list.currentItem) list.currentItem.clicked()
    Keys.onEnterPressed: if (list.currentItem) list.currentItem.clicked()

    function scrollToTop() {
        scrollAnimation.to = list.originY - list.topMargin
        scrollAnimation.restart()
    }

    NumberAnimation {
        id: scrollAnimation
        target: list
        property: "contentY"
        duration: 350
        easing.type: Easing.InOutQuad
    }

    // The favourites header counts the favourites; the other counts every source, whatever the
    // search leaves on screen.
    header: Label {
        objectName: "sourcesHeader"
        width: ListView.view.width
        leftPadding: Theme.rowInset
        rightPadding: Theme.rowInset
        bottomPadding: 15
        text: list.favoritesMode ? "Total Favorite Sources: " + list.viewModel.favoriteSourceCount
                                 : "Total Sources: " + list.viewModel.sourceCount
        color: Theme.white
        font.pixelSize: Theme.headlineSize
        font.weight: Font.DemiBold
    }

    delegate: RepoSourceRow {
        viewModel: list.viewModel
        width: ListView.view.width - 2 * Theme.rowInset
        x: Theme.rowInset
        onQrRequested: address => qrPopup.show(address)
    }

    QrPopup {
        id: qrPopup
        objectName: "qrPopup"
        parent: Overlay.overlay
    }

    AbstractButton {
        id: topButton
        objectName: "scrollToTop"
        parent: list
        anchors.right: parent.right
        anchors.bottom: parent.bottom
        anchors.rightMargin: 20
        anchors.bottomMargin: 30
        width: 34
        height: 34
        z: 10
        opacity: 0.8
        visible: scale > 0
        scale: list.showScrollToTop ? 1 : 0
        Accessible.name: "Scroll to top"
        onClicked: list.scrollToTop()
        Behavior on scale {
            NumberAnimation {
                duration: 200
                easing.type: Easing.OutBack
            }
        }
        // The symbol itself is the filled circle; a dark disc behind it stands in for the shadow.
        background: Rectangle {
            anchors.centerIn: parent
            anchors.verticalCenterOffset: 2
            width: 30
            height: 30
            radius: 15
            color: Qt.rgba(0, 0, 0, 0.35)
        }
        contentItem: SymbolIcon {
            name: "arrow.up.circle.fill"
            color: Theme.blue
            size: 34
        }
    }
}
