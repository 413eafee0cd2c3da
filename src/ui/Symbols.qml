pragma Singleton
import QtQml

// System symbol names, as the screens use them, mapped to ligatures of the Material Icons font.
// A name the font does not know draws nothing at all, so tst_symbols shapes every entry.
QtObject {
    readonly property string fontFamily: "Material Icons"

    readonly property var map: ({
        "bird": "flutter_dash",
        "plus": "add",
        "checkmark.square.fill": "check_box",
        "square": "check_box_outline_blank",
        "doc.on.doc": "content_copy",
        "star": "star_border",
        "star.fill": "star",
        "trash": "delete_outline",
        "arrow.up.circle.fill": "arrow_circle_up",
        "magnifyingglass": "search",
        "arrow.down.circle": "arrow_circle_down",
        "arrow.down.circle.fill": "download_for_offline",
        "square.and.arrow.down": "save_alt",
        "link": "link",
        "checkmark.circle.fill": "check_circle",
        "circle": "radio_button_unchecked",
        "questionmark.circle": "help_outline",
        "photo": "photo",
        "chevron.backward": "arrow_back_ios",
        "stethoscope": "monitor_heart",
        "arrow.clockwise": "refresh"
    })

    // The ligature for a system name; "" (nothing drawn) for a name missing from the map.
    function glyph(name) {
        const ligature = map[name]
        if (ligature === undefined) {
            console.warn("No icon for the symbol", name)
            return ""
        }
        return ligature
    }
}
