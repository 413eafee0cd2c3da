#include "app/platform.h"

#include "sources/sourcestore.h"

namespace {

class NullClipboard : public Clipboard
{
public:
    void setText(const QString &) override {}
};

class NullUrlOpener : public UrlOpener
{
public:
    void open(const QUrl &) override {}
};

Platform &defaultSlot()
{
    static Platform platform;
    return platform;
}

} // namespace

void Platform::setDefault(Platform platform)
{
    defaultSlot() = std::move(platform);
}

Platform Platform::defaultPlatform()
{
    Platform platform = defaultSlot();
    if (!platform.settings)
        platform.settings = openSettings();
    if (!platform.clipboard)
        platform.clipboard = std::make_shared<NullClipboard>();
    if (!platform.urlOpener)
        platform.urlOpener = std::make_shared<NullUrlOpener>();
    return platform;
}
