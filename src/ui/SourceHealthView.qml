pragma ComponentBehavior: Bound
import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import TallowPine

// How each source's last load ended, worst first, with a retry and a copy of the details for a
// bug report. The order is settled once when the screen opens, so rows stay put while retries end.
FocusScope {
    id: screen

    required property RepoViewModel viewModel
    // The links loading right now, as a plain list the rows can search.
    readonly property var loadingLinks: Array.from(screen.viewModel.loadingLinks)

    signal back()

    function focusSearch() {
        healthList.forceActiveFocus()
    }

    // Failed, loaded with a problem, never tried, fine.
    function rankColor(rank) {
        if (rank === 0)
            return Theme.red
        if (rank === 1)
            return Theme.yellow
        if (rank === 2)
            return Theme.gray
        return Theme.green
    }

    function escaped(text) {
        return text.replace(/&/g, "&amp;").replace(/</g, "&lt;").replace(/>/g, "&gt;")
    }

    Component.onCompleted: {
        screen.viewModel.sourceHealthModel.sortWorstFirst()
        healthList.currentIndex = 0
        healthList.forceActiveFocus()
    }

    ColumnLayout {
        anchors.fill: parent
        spacing: 0

        // The navigation bar: back and the title.
        Item {
            Layout.fillWidth: true
            implicitHeight: 44

            AbstractButton {
                id: backButton
                objectName: "healthBackButton"
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
                anchors.centerIn: parent
                width: Math.min(implicitWidth, parent.width - 2 * (backButton.width + 16))
                text: "Source Health"
                color: Theme.white
                font.pixelSize: Theme.headlineSize
                font.weight: Font.DemiBold
                elide: Text.ElideRight
                Accessible.role: Accessible.Heading
            }
        }

        ListView {
            id: healthList
            objectName: "healthList"
            Layout.fillWidth: true
            Layout.fillHeight: true
            Layout.topMargin: 8
            clip: true
            spacing: 12
            bottomMargin: 16
            keyNavigationEnabled: true
            highlightMoveDuration: 0
            boundsBehavior: Flickable.StopAtBounds
            activeFocusOnTab: true
            model: screen.viewModel.sourceHealthModel
            Accessible.role: Accessible.List
            Accessible.name: "Source health"
            ScrollBar.vertical: ScrollBar {}

            delegate: FocusScope {
                id: row

                required property int index
                required property string name
                required property string link
                required property string outcome
                required property string summary
                required property string problem
                required property int rank
                readonly property bool loading: screen.loadingLinks.indexOf(row.link) >= 0
                readonly property color rankColor: screen.rankColor(row.rank)
                readonly property bool problemInSummary: row.problem !== "" && row.summary.endsWith(row.problem)
                readonly property string summaryLead: row.problemInSummary
                                                       ? row.summary.slice(0, row.summary.length - row.problem.length)
                                                       : row.summary

                width: ListView.view.width - 2 * Theme.rowInset
                x: Theme.rowInset
                implicitHeight: card.implicitHeight
                Accessible.role: Accessible.ListItem
                // A clicked button makes its row the current one, so the arrows go on from there.
                onActiveFocusChanged: if (row.activeFocus) row.ListView.view.currentIndex = row.index
                Accessible.name: row.name + ", " + row.summary + (row.problem === "" ? "" : ", " + row.problem)

                Rectangle {
                    id: card
                    anchors.fill: parent
                    implicitHeight: content.implicitHeight + 24
                    radius: 12
                    color: Theme.cardBackground

                    // The rank at a glance, down the card's leading edge.
                    Rectangle {
                        anchors.left: parent.left
                        anchors.top: parent.top
                        anchors.bottom: parent.bottom
                        anchors.margins: 8
                        width: 4
                        radius: 2
                        color: row.rankColor
                    }

                    ColumnLayout {
                        id: content
                        anchors.left: parent.left
                        anchors.right: parent.right
                        anchors.top: parent.top
                        anchors.leftMargin: 22
                        anchors.rightMargin: 12
                        anchors.topMargin: 12
                        spacing: 4

                        Label {
                            Layout.fillWidth: true
                            text: row.name
                            color: Theme.white
                            font.pixelSize: Theme.headlineSize
                            font.weight: Font.DemiBold
                            elide: Text.ElideRight
                        }
                        Label {
                            Layout.fillWidth: true
                            text: row.link
                            color: Theme.gray
                            font.pixelSize: Theme.footnoteSize
                            elide: Text.ElideMiddle
                        }
                        // The summary usually ends with the problem; that end is drawn in the rank's
                        // colour rather than said twice.
                        Label {
                            objectName: "healthSummary"
                            Layout.fillWidth: true
                            text: screen.escaped(row.summaryLead)
                                  + (row.problemInSummary ? "<b><font color=\"" + row.rankColor + "\">"
                                                            + screen.escaped(row.problem) + "</font></b>" : "")
                            textFormat: Text.StyledText
                            color: Theme.secondaryText
                            font.pixelSize: Theme.subheadlineSize
                            wrapMode: Text.Wrap
                        }
                        Label {
                            objectName: "healthProblem"
                            Layout.fillWidth: true
                            visible: row.problem !== "" && !row.problemInSummary
                            text: row.problem
                            color: row.rankColor
                            font.pixelSize: Theme.footnoteSize
                            font.weight: Font.DemiBold
                            wrapMode: Text.Wrap
                        }

                        RowLayout {
                            Layout.topMargin: 6
                            spacing: 8

                            component HealthButton: AbstractButton {
                                id: action
                                property string symbol
                                property bool busy: false
                                focusPolicy: Qt.StrongFocus
                                topPadding: 5
                                bottomPadding: 5
                                leftPadding: 10
                                rightPadding: 10
                                Keys.onReturnPressed: action.clicked()
                                Keys.onEnterPressed: action.clicked()
                                background: Rectangle {
                                    radius: 10
                                    color: Theme.translucent(Theme.gray, action.pressed ? 0.55 : 0.4)
                                    border.width: action.activeFocus ? 1 : 0
                                    border.color: Theme.blue
                                }
                                contentItem: Row {
                                    spacing: 5
                                    Item {
                                        anchors.verticalCenter: parent.verticalCenter
                                        width: 18
                                        height: 18
                                        BusyIndicator {
                                            objectName: "busy"
                                            anchors.fill: parent
                                            padding: 0
                                            running: action.busy
                                            visible: action.busy
                                        }
                                        SymbolIcon {
                                            anchors.fill: parent
                                            visible: !action.busy
                                            name: action.symbol
                                            color: Theme.blue
                                            size: 18
                                        }
                                    }
                                    Text {
                                        anchors.verticalCenter: parent.verticalCenter
                                        text: action.text
                                        color: Theme.white
                                        font.pixelSize: Theme.subheadlineSize
                                        font.bold: true
                                    }
                                }
                            }

                            HealthButton {
                                id: retryButton
                                objectName: "retry"
                                // The current row's first button takes the keys.
                                focus: true
                                text: "Retry"
                                symbol: "arrow.clockwise"
                                busy: row.loading
                                Accessible.name: "Retry " + row.name
                                KeyNavigation.right: copyButton
                                KeyNavigation.tab: copyButton
                                onClicked: screen.viewModel.retrySource(row.link)
                            }
                            HealthButton {
                                id: copyButton
                                objectName: "copyDiagnostics"
                                text: "Copy diagnostics"
                                symbol: "doc.on.doc"
                                Accessible.name: "Copy diagnostics for " + row.name
                                KeyNavigation.left: retryButton
                                onClicked: {
                                    screen.viewModel.copyDiagnostics(row.link)
                                    copyAlert.open()
                                }
                            }
                        }
                    }
                }
            }
        }
    }

    AlertDialog {
        id: copyAlert
        objectName: "diagnosticsCopied"
        parent: Overlay.overlay
        title: "تم النسخ"
        message: "تم نسخ تشخيص السورس إلى الحافظة\nSource diagnostics copied."
    }
}
