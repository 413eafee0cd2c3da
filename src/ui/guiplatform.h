// The desktop's clipboard and URL handlers behind the state object's seams, and the app's fonts.
// Main thread, after (fonts: before) the QGuiApplication exists.
#pragma once

#include "handoff/clipboard.h"
#include "handoff/urlopener.h"

class GuiClipboard : public Clipboard
{
public:
    void setText(const QString &text) override;
};

class DesktopUrlOpener : public UrlOpener
{
public:
    void open(const QUrl &url) override;
};

// Qt takes the first font that has a glyph, so colour emoji and Arabic need to be preferred
// explicitly before the application object is created.
void preferEmojiAndArabicFonts();
