#include "ui/assets.h"

#include "ui/assetimages.h"
#include "ui/iconimageprovider.h"
#include "ui/iconloader.h"
#include "ui/qrimageprovider.h"

#include <QQmlEngine>

bool Assets::hasAsset(const QString &name) const
{
    return AssetImages::current()->hasAsset(name);
}

QString Assets::assetSource(const QString &name, double radius) const
{
    return AssetImages::current()->assetSource(name, radius);
}

QString Assets::repoImageSource(const QString &imageName, double radius) const
{
    return AssetImages::current()->repoImageSource(imageName, radius);
}

QString Assets::iconSource(const QString &urlString, double radius) const
{
    // Offline nothing is downloaded, so the view shows "Tweaks" at once rather than a spinner first.
    if (const QQmlEngine *engine = qmlEngine(this)) {
        const auto *loader = engine->findChild<IconLoader *>(QString(), Qt::FindDirectChildrenOnly);
        if (loader && !loader->networkAllowed())
            return {};
    }
    return iconImageSource(urlString, radius);
}

QString Assets::qrSource(const QString &text) const
{
    return qrImageSource(text);
}
