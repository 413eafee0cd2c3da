import QtQuick

// A system symbol drawn from the icon font, `size` pixels square. Decorative unless given an
// accessible name.
Text {
    id: icon

    property string name
    property int size: 24
    property string accessibleName

    width: size
    height: size
    text: Symbols.glyph(name)
    font.family: Symbols.fontFamily
    font.pixelSize: size
    horizontalAlignment: Text.AlignHCenter
    verticalAlignment: Text.AlignVCenter

    Accessible.role: Accessible.Graphic
    Accessible.name: accessibleName
    Accessible.ignored: accessibleName === ""
}
