import QtQuick
import QtQuick.Controls
import QtTest
import TallowPine
import TallowPineTest

// What a user does on the screens, and what must follow; every case starts from a fresh main screen
// over the offline test world.
Item {
    id: top
    width: 390
    height: 844

    Component {
        id: screenComponent
        ContentView {
            anchors.fill: parent
        }
    }

    TestCase {
        id: test
        name: "Screens"
        when: windowShown

        property var screen: null

        function init() {
            TestWorld.reset()
            screen = createTemporaryObject(screenComponent, top)
            verify(screen)
            waitForRendering(screen)
        }

        function find(name, root) {
            const item = findChild(root || screen, name)
            verify(item, "no item named " + name)
            return item
        }
        function click(item) {
            verify(item.visible && item.enabled, item.objectName + " is not clickable")
            mouseClick(item)
        }
        function segment(pickerName, index) {
            return find("segment" + index, find(pickerName))
        }
        function rowFor(link) {
            const list = find("sourceList")
            for (let i = 0; i < list.count; ++i) {
                list.positionViewAtIndex(i, ListView.Contain)
                const row = list.itemAtIndex(i)
                if (row && row.link === link)
                    return row
            }
            fail("no row for " + link)
        }
        // The packages button forces a load; the screen opens once it has answered.
        function openSource(link) {
            click(find("showPackages", rowFor(link)))
            tryCompare(screen.stack, "depth", 2, 5000)
            tryCompare(screen.stack, "busy", false)
            // The screen's model must outlive a collection while the screen shows it.
            gc()
            verify(screen.stack.currentItem.packagesModel)
        }
        function closeAlert(expected) {
            tryCompare(screen.alert, "opened", true)
            if (expected !== undefined)
                compare(screen.alert.message, expected)
            compare(screen.alert.title, "تنبيه")
            click(find("alertOk", screen.alert.contentItem))
            tryCompare(screen.viewModel, "showAlert", false)
            tryCompare(screen.alert, "visible", false)
        }
        // Enough distinct colours that something real was drawn, not a flat background.
        function verifyNotBlank(item) {
            const image = grabImage(item)
            const seen = {}
            let colours = 0
            for (let y = 4; y < image.height; y += 23) {
                for (let x = 3; x < image.width; x += 17) {
                    const key = String(image.pixel(x, y))
                    if (!seen[key]) {
                        seen[key] = true
                        ++colours
                    }
                }
            }
            verify(colours > 12, "only " + colours + " colours drawn")
        }

        function test_modePickerSwapsListsAndClearsArchitecture() {
            const vm = screen.viewModel
            compare(vm.selectedMode, RepoViewModel.AllSources)
            verify(find("selectionTools").visible)
            click(segment("modePicker", 2))
            compare(vm.selectedMode, RepoViewModel.AllPackages)
            verify(!find("selectionTools").visible)
            const packages = find("allPackagesList")
            tryCompare(packages, "count", 30 + 12 + 5, 5000)
            compare(find("totalPackages").text, "Total Packages: 47")

            click(segment("architecturePicker", 3))
            compare(vm.selectedArchitecture, "arm64e")
            tryCompare(find("totalPackages"), "text", "Total Packages: 15", 3000)

            click(segment("modePicker", 0))
            compare(vm.selectedMode, RepoViewModel.Favorites)
            verify(vm.selectedArchitecture === undefined, "the architecture is cleared")
            compare(find("sourceList").headerItem.text, "Total Favorite Sources: 0")
            // Each appearance of the packages list loads again, and the choice of "All" is back.
            click(segment("modePicker", 2))
            compare(find("architecturePicker").currentIndex, 0)
            tryCompare(find("allPackagesList"), "count", 47, 5000)
        }

        function test_selectionToolsFollowTheSelection() {
            const copy = find("copySelected")
            const deselect = find("deselect")
            verify(!copy.enabled && !deselect.enabled)
            compare(find("selectionCount").text, "✓: 0")

            click(find("selectAll"))
            verify(screen.viewModel.isAllSelected)
            verify(copy.enabled && deselect.enabled)
            compare(find("selectionCount").text, "✓: " + TestWorld.links.length)

            click(copy)
            compare(TestWorld.clipboardTexts[TestWorld.clipboardTexts.length - 1], TestWorld.links.join("\n"))
            closeAlert("تم نسخ " + TestWorld.links.length + " سورسات محددة Specific sources have been copied.")

            click(deselect)
            verify(!copy.enabled)
            compare(find("selectionCount").text, "✓: 0")

            // The card and its mark toggle the same selection, once per tap.
            const row = rowFor(TestWorld.links[1])
            mouseClick(row, 8, row.height / 2)
            compare(find("selectionCount").text, "✓: 1")
            click(find("selectionMark", row))
            compare(find("selectionCount").text, "✓: 0")
        }

        function test_favouriteToggleShowsTheAlertAndTheFavourites() {
            const row = rowFor(TestWorld.links[2])
            click(find("favorite", row))
            closeAlert("تمت إضافة Gamma Repo إلى المفضلة Added to favourites.")
            click(segment("modePicker", 0))
            compare(find("sourceList").headerItem.text, "Total Favorite Sources: 1")
            tryCompare(find("sourceList"), "count", 1)
            click(find("favorite", rowFor(TestWorld.links[2])))
            closeAlert()
            tryCompare(find("sourceList"), "count", 0)
        }

        function test_addSheetAddsAndDeletes() {
            const vm = screen.viewModel
            const before = vm.sourceCount
            keyClick(Qt.Key_N, Qt.ControlModifier)
            tryCompare(screen.addSheet, "opened", true)
            const add = find("addSourceButton", screen.addSheet.contentItem)
            const field = find("sourceLinkField", screen.addSheet.contentItem)
            verify(!add.enabled)
            field.forceActiveFocus()
            keyClick(Qt.Key_Space)
            verify(add.enabled, "spaces count as typed")
            // Typed text goes to the state object as it stands; with spaces around it, it is no link.
            field.text = "  https://new.repo.test/sub  "
            click(add)
            tryCompare(vm, "isAddSourcePresented", false)
            tryCompare(screen.addSheet, "visible", false)
            closeAlert("رابط السورس غير صالح.")
            compare(vm.sourceCount, before)

            click(find("addButton"))
            tryCompare(screen.addSheet, "opened", true)
            verify(!add.enabled, "the field starts empty each time")
            field.text = "https://new.repo.test/sub"
            click(add)
            tryCompare(vm, "isAddSourcePresented", false)
            tryCompare(screen.addSheet, "visible", false)
            compare(vm.sourceCount, before + 1)
            closeAlert()

            // The new source is the user's own: it has a delete button, the built-in ones do not.
            const list = find("sourceList")
            list.positionViewAtEnd()
            let userRow = null
            for (let i = 0; i < list.count; ++i) {
                list.positionViewAtIndex(i, ListView.Contain)
                const row = list.itemAtIndex(i)
                verify(row)
                compare(find("delete", row).visible, !row.isDefault)
                if (!row.isDefault)
                    userRow = i
            }
            verify(userRow !== null)
            list.positionViewAtIndex(userRow, ListView.Beginning)
            click(find("delete", list.itemAtIndex(userRow)))
            compare(vm.sourceCount, before)
            closeAlert()

            // Cancel changes nothing.
            click(find("addButton"))
            tryCompare(screen.addSheet, "opened", true)
            find("sourceLinkField", screen.addSheet.contentItem).text = "https://never.repo.test/"
            click(find("cancelButton", screen.addSheet.contentItem))
            tryCompare(screen.addSheet, "visible", false)
            compare(vm.sourceCount, before)
            verify(!vm.showAlert)
        }

        function test_sourceScreenFiltersAndComesBack() {
            const list = find("sourceList")
            list.contentY = list.originY - list.topMargin + 140
            const topRow = list.indexAt(40, list.contentY + 200)
            openSource(TestWorld.links[0])
            const page = screen.stack.currentItem
            const title = find("screenTitle", page)
            tryCompare(title, "text", "Packages (30)", 3000)

            // Its own search: name first, then the identifier; the description is not searched.
            const search = find("packageSearch", page)
            search.text = "TWEAK 1"
            tryCompare(title, "text", "Packages (11)", 3000)
            search.text = "com.alpha.tweak2"
            tryCompare(title, "text", "Packages (11)", 3000)
            search.text = "number"
            tryCompare(title, "text", "Packages (0)", 3000)
            verify(find("emptyHint", page).visible)
            search.text = ""

            // The architecture is the state object's, shared with the main screen.
            click(segment("packageArchitecturePicker", 2))
            compare(screen.viewModel.selectedArchitecture, "arm64")
            tryCompare(title, "text", "Packages (10)", 3000)
            click(segment("packageArchitecturePicker", 0))

            // Installed only: two of the alpha packages are in the dpkg database.
            click(find("installedOnly", page))
            tryCompare(title, "text", "Installed (2)", 3000)
            const rows = find("sourcePackageList", page)
            tryCompare(rows, "count", 2)
            const first = rows.itemAtIndex(0)
            compare(find("badge", first).text, "MODIFY")
            verify(find("installedMark", first).visible)
            click(find("installedOnly", page))
            tryCompare(title, "text", "Packages (30)", 3000)

            click(find("backButton", page))
            tryCompare(screen.stack, "depth", 1)
            tryCompare(screen.stack, "busy", false)
            compare(list.indexAt(40, list.contentY + 200), topRow)
        }

        function test_aSourceWithNothingOpensOnTheHint() {
            openSource(TestWorld.links[3])
            const page = screen.stack.currentItem
            tryCompare(find("screenTitle", page), "text", "Packages (0)")
            verify(find("emptyHint", page).visible)
            keyClick(Qt.Key_Escape)
            tryCompare(screen.stack, "depth", 1)
        }

        function test_mainSearchNarrowsTheSourcesButNotTheTotal() {
            const field = find("sourceSearch")
            keyClick(Qt.Key_F, Qt.ControlModifier)
            verify(field.activeFocus)
            keyClick(Qt.Key_G)
            keyClick(Qt.Key_A)
            keyClick(Qt.Key_M)
            compare(screen.viewModel.searchText, "gam")
            tryCompare(find("sourceList"), "count", 1)
            compare(find("sourceList").headerItem.text, "Total Sources: " + TestWorld.links.length)
        }

        function test_keyboardMovesThroughTheSourceList() {
            keyClick(Qt.Key_F, Qt.ControlModifier)
            keyClick(Qt.Key_Down)
            const list = find("sourceList")
            verify(list.activeFocus)
            keyClick(Qt.Key_Down)
            compare(list.currentIndex, 1)
            keyClick(Qt.Key_Return)
            compare(screen.viewModel.selectedSourceCount, 1)
            verify(list.currentItem.isSelected)
        }

        function test_packageRowActions() {
            openSource(TestWorld.links[1])
            const page = screen.stack.currentItem
            const rows = find("sourcePackageList", page)
            tryCompare(rows, "count", 12)
            const row = rows.itemAtIndex(0)
            compare(find("badge", row).text, "GET")
            verify(!find("installedMark", row).visible)

            click(find("copyDebLink", row))
            compare(TestWorld.clipboardTexts[TestWorld.clipboardTexts.length - 1],
                    "https://beta.repo.test/debs/com.beta.tweak0.deb")
            const copyAlert = find("copyAlert", rows)
            tryCompare(copyAlert, "opened", true)
            compare(copyAlert.title, "تم النسخ")
            compare(copyAlert.message, "تم نسخ رابط الحزمة إلى الحافظة\nPackage deb link copied.")
            click(find("alertOk", copyAlert.contentItem))
            tryCompare(copyAlert, "visible", false)

            click(find("downloadDeb", row))
            compare(TestWorld.openedUrls[TestWorld.openedUrls.length - 1],
                    "https://beta.repo.test/debs/com.beta.tweak0.deb")
            click(find("packageHeader", row))
            compare(TestWorld.openedUrls[TestWorld.openedUrls.length - 1], "sileo://package/com.beta.tweak0")
        }

        function test_scrollToTopAppearsPast400() {
            const list = find("sourceList")
            const button = find("scrollToTop")
            const top0 = list.originY - list.topMargin
            list.contentY = top0 + 400
            wait(250)
            verify(!button.visible, "400 points is not yet far enough")
            list.contentY = top0 + 401
            tryCompare(button, "scale", 1)
            click(button)
            tryCompare(list, "contentY", top0, 3000)
            tryCompare(button, "visible", false)

            // A redraw asked for by the state object rebuilds the column: back at the top, no button.
            list.contentY = top0 + 600
            tryCompare(button, "scale", 1)
            screen.viewModel.reloadView = !screen.viewModel.reloadView
            const rebuilt = find("sourceList")
            verify(rebuilt !== list)
            compare(rebuilt.contentY, rebuilt.originY - rebuilt.topMargin)
            verify(!find("scrollToTop").visible)
        }

        function test_rendersEveryMainState_data() {
            return [{tag: "all sources", mode: 1}, {tag: "favourites", mode: 0}, {tag: "all packages", mode: 2}]
        }
        function test_rendersEveryMainState(data) {
            screen.viewModel.selectedMode = data.mode
            if (data.mode === 2)
                tryCompare(find("allPackagesList"), "count", 47, 5000)
            waitForRendering(screen)
            verifyNotBlank(screen)
        }
    }
}
