#include "ui/assets.h"

#include "ui/assetimages.h"
#include "ui/iconimageprovider.h"

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
    return iconImageSource(urlString, radius);
}
