import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import TallowPine

// The main screen: for now the source list as the state object holds it.
Item {
    id: root

    RepoViewModel {
        id: viewModel
    }

    ListView {
        id: sourceList
        anchors.fill: parent
        clip: true
        model: viewModel.sourceModel
        ScrollBar.vertical: ScrollBar {}

        header: Label {
            width: sourceList.width
            padding: 12
            font.pixelSize: 20
            font.bold: true
            text: viewModel.description(viewModel.selectedMode) + " · " + sourceList.count
        }

        delegate: ItemDelegate {
            id: row
            required property string name
            required property string link
            width: ListView.view.width
            contentItem: ColumnLayout {
                spacing: 2
                Label {
                    Layout.fillWidth: true
                    text: row.name
                    // Some names start with a right-to-left mark; keep the column aligned anyway.
                    horizontalAlignment: Text.AlignLeft
                    font.bold: true
                    elide: Text.ElideRight
                }
                Label {
                    Layout.fillWidth: true
                    text: row.link
                    opacity: 0.7
                    elide: Text.ElideMiddle
                }
            }
        }
    }
}
