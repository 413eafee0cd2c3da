#include "guiplatform.h"

#include <QClipboard>
#include <QDesktopServices>
#include <QGuiApplication>

#include <fontconfig/fontconfig.h>

void GuiClipboard::setText(const QString &text)
{
    QGuiApplication::clipboard()->setText(text);
}

void DesktopUrlOpener::open(const QUrl &url)
{
    QDesktopServices::openUrl(url);
}

void preferEmojiAndArabicFonts()
{
    static constexpr char config[] = R"(<?xml version="1.0"?>
<!DOCTYPE fontconfig SYSTEM "fonts.dtd">
<fontconfig>
  <alias binding="strong">
    <family>sans-serif</family>
    <prefer><family>Noto Sans</family><family>Noto Color Emoji</family><family>Noto Sans Arabic</family></prefer>
  </alias>
</fontconfig>)";
    FcConfig *fc = FcConfigGetCurrent();
    FcConfigParseAndLoadFromMemory(fc, reinterpret_cast<const FcChar8 *>(config), FcTrue);
}
