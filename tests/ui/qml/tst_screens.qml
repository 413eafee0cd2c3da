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
        function last(list) { return list[list.length - 1] }
        function segment(pickerName, index) { return find("segment" + index, find(pickerName)) }
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
        function settle(depth) {
            tryCompare(screen.stack, "depth", depth, 5000)
            tryCompare(screen.stack, "busy", false)
        }
        function openSource(link) {
            click(find("showPackages", rowFor(link)))
            settle(2)
            // The screen's model must outlive a collection while the screen shows it.
            gc()
            verify(screen.stack.currentItem.packagesModel)
            return screen.stack.currentItem
        }
        // The main screen's alert, or the packages screen's copy notice when given.
        function closeAlert(expected, notice) {
            const alert = notice || screen.alert
            tryCompare(alert, "opened", true)
            if (expected !== undefined)
                compare(alert.message, expected)
            compare(alert.title, notice ? "تم النسخ" : "تنبيه")
            click(find("alertOk", alert.contentItem))
            if (!notice)
                tryCompare(screen.viewModel, "showAlert", false)
            tryCompare(alert, "visible", false)
        }
        function openAddSheet() {
            click(find("addButton"))
            tryCompare(screen.addSheet, "opened", true)
        }
        function addSheetItem(name) { return find(name, screen.addSheet.contentItem) }
        function submitAddSheet(text) {
            addSheetItem("sourceLinkField").text = text
            click(addSheetItem("addSourceButton"))
            tryCompare(screen.viewModel, "isAddSourcePresented", false)
            tryCompare(screen.addSheet, "visible", false)
        }
        // Enough distinct colours that something real was drawn, not a flat background.
        function verifyNotBlank(item) {
            const image = grabImage(item)
            const seen = new Set()
            for (let y = 4; y < image.height; y += 23)
                for (let x = 3; x < image.width; x += 17)
                    seen.add(String(image.pixel(x, y)))
            verify(seen.size > 12, "only " + seen.size + " colours drawn")
        }

        function test_modePickerSwapsListsAndClearsArchitecture() {
            const vm = screen.viewModel
            compare(vm.selectedMode, RepoViewModel.AllSources)
            verify(find("selectionTools").visible)
            click(segment("modePicker", 2))
            compare(vm.selectedMode, RepoViewModel.AllPackages)
            verify(!find("selectionTools").visible)
            tryCompare(find("allPackagesList"), "count", 30 + 12 + 5, 5000)
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
            const all = TestWorld.links
            verify(!copy.enabled && !deselect.enabled)
            compare(find("selectionCount").text, "✓: 0")

            click(find("selectAll"))
            verify(screen.viewModel.isAllSelected)
            verify(copy.enabled && deselect.enabled)
            compare(find("selectionCount").text, "✓: " + all.length)
            click(copy)
            compare(last(TestWorld.clipboardTexts), all.join("\n"))
            closeAlert("تم نسخ " + all.length + " سورسات محددة Specific sources have been copied.")
            click(deselect)
            verify(!copy.enabled)
            compare(find("selectionCount").text, "✓: 0")

            // The card and its mark toggle the same selection, once per tap.
            const row = rowFor(all[1])
            mouseClick(row, 8, row.height / 2)
            compare(find("selectionCount").text, "✓: 1")
            click(find("selectionMark", row))
            compare(find("selectionCount").text, "✓: 0")
        }

        function test_favouriteToggleShowsTheAlertAndTheFavourites() {
            click(find("favorite", rowFor(TestWorld.links[2])))
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
            verify(!addSheetItem("addSourceButton").enabled)
            addSheetItem("sourceLinkField").forceActiveFocus()
            keyClick(Qt.Key_Space)
            verify(addSheetItem("addSourceButton").enabled, "spaces count as typed")
            // Typed text goes to the state object as it stands; with spaces around it, it is no link.
            submitAddSheet("  https://new.repo.test/sub  ")
            closeAlert("رابط السورس غير صالح.")
            compare(vm.sourceCount, before)

            openAddSheet()
            verify(!addSheetItem("addSourceButton").enabled, "the field starts empty each time")
            submitAddSheet("https://new.repo.test/sub")
            compare(vm.sourceCount, before + 1)
            closeAlert()

            // The new source is the user's own: it has a delete button, the built-in ones do not.
            const list = find("sourceList")
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
            openAddSheet()
            addSheetItem("sourceLinkField").text = "https://never.repo.test/"
            click(addSheetItem("cancelButton"))
            tryCompare(screen.addSheet, "visible", false)
            compare(vm.sourceCount, before)
            verify(!vm.showAlert)
        }

        function test_importAPastedListThenExportIt() {
            const vm = screen.viewModel
            const before = vm.sourceCount
            openAddSheet()
            click(addSheetItem("importListButton"))
            tryCompare(screen.addSheet, "visible", false)
            const sheet = screen.transferSheet
            tryCompare(sheet, "opened", true)
            const item = name => find(name, sheet.contentItem)
            verify(!item("importButton").enabled)
            verify(item("importText").area.activeFocus)

            item("importText").text = "deb https://imported.repo.test/ ./\nnot a link\n" + TestWorld.links[0]
            click(item("importButton"))
            compare(vm.sourceCount, before + 1)
            verify(item("importSummary").visible)
            compare(item("importSummary").text,
                    "Added 1, skipped 1, invalid 1.\nLine 2: \u2068رابط السورس غير صالح.\u2069 (\u2068not a link\u2069)")
            verify(!vm.showAlert)
            // The file picker's own dialog loads modules the app never links (Qt.labs.folderlistmodel).
            click(item("openFileButton"))
            tryCompare(sheet.openDialog, "visible", true)
            sheet.openDialog.reject()
            tryCompare(sheet.openDialog, "visible", false)

            // The sheet's export shows the user's own sources, and copies exactly that text.
            click(find("segment1", item("transferModePicker")))
            compare(item("exportPreview").text, "deb https://imported.repo.test/ ./\n")
            compare(item("exportCount").text, "1 source")
            click(find("segment2", item("exportFormatPicker")))
            click(item("copyExport"))
            compare(last(TestWorld.clipboardTexts), "https://imported.repo.test/\n")
            compare(item("exportStatus").text, "Copied 1 source.")

            click(item("transferDone"))
            tryCompare(sheet, "visible", false)
            verify(rowFor("https://imported.repo.test/"))
        }

        function test_sourceScreenFiltersAndComesBack() {
            const list = find("sourceList")
            list.contentY = list.originY - list.topMargin + 140
            const topRow = list.indexAt(40, list.contentY + 200)
            const page = openSource(TestWorld.links[0])
            const title = find("screenTitle", page)
            tryCompare(title, "text", "Packages (30)", 3000)

            // Its own search: name first, then the identifier; the description is not searched.
            const search = find("packageSearch", page)
            for (const [text, count] of [["TWEAK 1", 11], ["com.alpha.tweak2", 11], ["number", 0]]) {
                search.text = text
                tryCompare(title, "text", "Packages (" + count + ")", 3000)
            }
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
            compare(find("badge", rows.itemAtIndex(0)).text, "MODIFY")
            verify(find("installedMark", rows.itemAtIndex(0)).visible)
            click(find("installedOnly", page))
            tryCompare(title, "text", "Packages (30)", 3000)

            click(find("backButton", page))
            settle(1)
            compare(list.indexAt(40, list.contentY + 200), topRow)
        }

        function test_aSourceWithNothingOpensOnTheHint() {
            const page = openSource(TestWorld.links[3])
            tryCompare(find("screenTitle", page), "text", "Packages (0)")
            verify(find("emptyHint", page).visible)
            keyClick(Qt.Key_Escape)
            settle(1)
        }

        function test_mainSearchNarrowsTheSourcesButNotTheTotal() {
            keyClick(Qt.Key_F, Qt.ControlModifier)
            verify(find("sourceSearch").activeFocus)
            for (const key of [Qt.Key_G, Qt.Key_A, Qt.Key_M])
                keyClick(key)
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

        // Each QR action shows the very link its neighbouring action hands off, and Escape closes it.
        function showsQr(button, popup, expected) {
            click(button)
            tryCompare(popup, "opened", true)
            compare(find("qrAddress", popup.contentItem).text, expected)
            tryCompare(find("qrImage", popup.contentItem), "status", Image.Ready)
            verify(!find("qrUnavailable", popup.contentItem).visible)
            keyClick(Qt.Key_Escape)
            tryCompare(popup, "visible", false)
        }
        function test_packageRowActionsAndTheirQrCodes() {
            const link = TestWorld.links[1]
            showsQr(find("qrLink", rowFor(link)), find("qrPopup", find("sourceList")), link)
            const rows = find("sourcePackageList", openSource(link))
            tryCompare(rows, "count", 12)
            const row = rows.itemAtIndex(0)
            const deb = "https://beta.repo.test/debs/com.beta.tweak0.deb"
            const sileo = "sileo://package/com.beta.tweak0"
            compare(find("badge", row).text, "GET")
            verify(!find("installedMark", row).visible)

            click(find("copyDebLink", row))
            compare(last(TestWorld.clipboardTexts), deb)
            closeAlert("تم نسخ رابط الحزمة إلى الحافظة\nPackage deb link copied.", find("copyAlert", rows))
            click(find("downloadDeb", row))
            compare(last(TestWorld.openedUrls), deb)
            click(find("packageHeader", row))
            compare(last(TestWorld.openedUrls), sileo)

            const popup = find("qrPopup", rows)
            showsQr(find("qrDebLink", row), popup, deb)
            showsQr(find("qrSourceLink", row), popup, link)
            showsQr(find("qrSileo", row), popup, sileo)
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

        // The packages list starts a load of every source each time it appears; the bar under the
        // mode picker follows that run and leaves when the last source has answered.
        function loadEverySource() {
            const vm = screen.viewModel
            click(segment("modePicker", 2))
            verify(vm.loadInProgress)
            verify(find("loadProgress").visible)
            const total = vm.sourceCount
            compare(find("loadCaption").text, "0 / " + total + " sources · 0 packages")
            tryCompare(vm, "loadInProgress", false, 5000)
            verify(!find("loadProgress").visible)
            compare(find("loadCaption").text, total + " / " + total + " sources · 47 packages")
        }
        function openHealth(byKeyboard) {
            if (byKeyboard)
                keyClick(Qt.Key_H, Qt.ControlModifier)
            else
                click(find("healthButton"))
            settle(2)
            compare(screen.stack.currentItem.objectName, "sourceHealth")
            return screen.stack.currentItem
        }
        function healthRow(view, index) {
            const list = find("healthList", view)
            list.positionViewAtIndex(index, ListView.Contain)
            const row = list.itemAtIndex(index)
            verify(row, "no health row " + index)
            return row
        }

        function test_loadProgressFollowsALoadOfEverySource() {
            loadEverySource()
            // A second appearance answers from memory, and the bar still comes and goes.
            click(segment("modePicker", 1))
            loadEverySource()
        }

        function test_sourceHealthOpensWorstFirst() {
            // A source added now has no record, so it is laid out among the untried; its failed load
            // moves it up only when the screen opens.
            const added = "https://new.repo.test/sub"
            screen.viewModel.addNewSource(added)
            closeAlert()
            loadEverySource()
            const view = openHealth(false)
            const list = find("healthList", view)
            compare(list.count, TestWorld.links.length + 1)
            const outcomes = {}
            let previousRank = -1
            for (let i = 0; i < list.count; ++i) {
                const row = healthRow(view, i)
                verify(row.rank >= previousRank, "row " + i + " is out of order")
                previousRank = row.rank
                outcomes[row.link] = row.outcome
            }
            // Alpha and beta come from their cache, gamma from the device's lists (or from the
            // cache an earlier load of it left); delta and the fillers have nothing anywhere.
            const links = TestWorld.links
            compare([outcomes[links[0]], outcomes[links[1]]], ["cache", "cache"])
            verify(["lists", "cache"].includes(outcomes[links[2]]), outcomes[links[2]])
            for (const link of links.slice(3).concat([added]))
                compare(outcomes[link], "failed", link)
            // The problem is said once, in the rank's colour.
            const worst = healthRow(view, 0)
            verify(find("healthSummary", worst).text.includes(worst.problem + "</font>"))
            verify(!find("healthProblem", worst).visible)
            keyClick(Qt.Key_Escape)
            settle(1)
        }

        function test_sourceHealthRetriesAndCopies() {
            loadEverySource()
            const view = openHealth(true)
            const vm = screen.viewModel
            const first = healthRow(view, 0)
            const link = first.link

            // Every source has answered once, so a load that shows is a forced one.
            click(find("retry", first))
            verify(Array.from(vm.loadingLinks).includes(link))
            verify(find("busy", first).visible)
            tryVerify(() => !find("busy", first).visible, 5000)
            compare(healthRow(view, 0).link, link, "the row stays where it was")

            // The keys: down to the next row's retry, across to its copy, Enter to press it.
            const list = find("healthList", view)
            list.forceActiveFocus()
            verify(find("retry", healthRow(view, 0)).activeFocus)
            keyClick(Qt.Key_Down)
            compare(list.currentIndex, 1)
            const second = healthRow(view, 1)
            keyClick(Qt.Key_Right)
            verify(find("copyDiagnostics", second).activeFocus)
            keyClick(Qt.Key_Return)
            verify(last(TestWorld.clipboardTexts).includes(second.link))
            verify(last(TestWorld.clipboardTexts).includes("\n"), "the diagnostics run to several lines")
            closeAlert("تم نسخ تشخيص السورس إلى الحافظة\nSource diagnostics copied.",
                       find("diagnosticsCopied", view))

            click(find("healthBackButton", view))
            settle(1)
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
