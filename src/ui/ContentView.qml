import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import TallowPine

// The app's only root screen. It creates the one state object and hands that same instance to every
// screen below it; the search, the tools and the mode picker sit above a list that depends on the mode.
FocusScope {
    id: root

    readonly property RepoViewModel viewModel: RepoViewModel {}
    // The main screen's content column, rebuilt whenever the state object asks for a fresh redraw.
    readonly property Item mainColumn: mainLoader.item
    readonly property alias stack: stack
    readonly property alias addSheet: addSheet
    readonly property alias transferSheet: transferSheet
    readonly property alias alert: alert

    function focusSearch() {
        if (stack.depth > 1)
            stack.currentItem.focusSearch()
        else if (root.mainColumn)
            root.mainColumn.focusSearch()
    }

    // The health screen over whatever is shown, once.
    function openSourceHealth() {
        if (stack.currentItem && stack.currentItem.objectName === "sourceHealth")
            return
        stack.push(healthScreenComponent)
    }

    function goBack() {
        if (stack.depth > 1)
            stack.pop()
    }

    Rectangle {
        anchors.fill: parent
        color: Theme.screenBackground
    }

    StackView {
        id: stack
        objectName: "navigation"
        anchors.fill: parent
        focus: true
        initialItem: FocusScope {
            id: mainPage
            Loader {
                id: mainLoader
                anchors.fill: parent
                focus: true
                sourceComponent: mainColumnComponent
            }
            // Dropping the old column and building a new one resets everything beneath it.
            Connections {
                target: root.viewModel
                function onReloadViewChanged() {
                    mainLoader.sourceComponent = undefined
                    mainLoader.sourceComponent = mainColumnComponent
                }
            }
        }
    }

    // A source's packages open once its forced load has answered, whatever it answered.
    Connections {
        target: root.viewModel
        function onSourcePackagesReady(link) {
            if (stack.depth > 1)
                return
            stack.push(packagesScreenComponent, {
                sourceLink: link
            })
        }
    }

    Component {
        id: packagesScreenComponent
        PackagesListView {
            viewModel: root.viewModel
            onBack: stack.pop()
        }
    }

    Component {
        id: healthScreenComponent
        SourceHealthView {
            objectName: "sourceHealth"
            viewModel: root.viewModel
            onBack: stack.pop()
        }
    }

    Component {
        id: mainColumnComponent
        MainColumn {
            viewModel: root.viewModel
            onHealthRequested: root.openSourceHealth()
        }
    }

    AlertDialog {
        id: alert
        objectName: "alert"
        parent: Overlay.overlay
        title: "تنبيه"
        message: root.viewModel.alertMessage
        onClosed: root.viewModel.showAlert = false
    }

    AddSourceView {
        id: addSheet
        objectName: "addSourceSheet"
        parent: Overlay.overlay
        viewModel: root.viewModel
        onClosed: root.viewModel.isAddSourcePresented = false
        onTransferRequested: mode => root.openTransfer(mode)
    }

    SourceListTransferView {
        id: transferSheet
        objectName: "transferSheet"
        parent: Overlay.overlay
        viewModel: root.viewModel
    }

    function openTransfer(mode) {
        transferSheet.mode = mode
        transferSheet.open()
    }

    // The alert and the sheet follow the state object both ways; a popup's own visible flag would
    // lose its binding the first time the user closes it.
    Connections {
        target: root.viewModel
        function onShowAlertChanged() {
            if (root.viewModel.showAlert)
                alert.open()
            else
                alert.close()
        }
        function onIsAddSourcePresentedChanged() {
            if (root.viewModel.isAddSourcePresented)
                addSheet.open()
            else
                addSheet.close()
        }
    }

    // A short pulse at the edge of the screen stands for the phone's haptic tap.
    Rectangle {
        id: pulse
        objectName: "feedbackPulse"
        anchors.fill: parent
        color: "transparent"
        border.width: 3
        border.color: Theme.blue
        opacity: 0
        z: 100
        Accessible.ignored: true
        SequentialAnimation {
            id: pulseAnimation
            NumberAnimation {
                target: pulse
                property: "opacity"
                to: 0.8
                duration: 40
            }
            NumberAnimation {
                target: pulse
                property: "opacity"
                to: 0
                duration: 160
            }
        }
        Connections {
            target: root.viewModel
            function onFeedback() {
                pulseAnimation.restart()
            }
        }
    }

    Shortcut {
        sequence: StandardKey.Find
        onActivated: root.focusSearch()
    }
    Shortcut {
        sequence: StandardKey.New
        onActivated: root.viewModel.isAddSourcePresented = true
    }
    Shortcut {
        sequence: "Ctrl+I"
        enabled: !transferSheet.opened && !alert.opened
        onActivated: root.openTransfer(0)
    }
    Shortcut {
        sequence: "Ctrl+H"
        enabled: !addSheet.opened && !transferSheet.opened && !alert.opened
        onActivated: root.openSourceHealth()
    }
    Shortcut {
        sequence: "Esc"
        enabled: stack.depth > 1 && !addSheet.opened && !transferSheet.opened && !alert.opened
        onActivated: root.goBack()
    }
}
