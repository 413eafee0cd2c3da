#include "ui/imageproviders.h"

#include "ui/assetimages.h"
#include "ui/iconimageprovider.h"
#include "ui/iconloader.h"
#include "ui/qrimageprovider.h"

#include <QQmlEngine>
#include <QQuickImageProvider>

namespace {

// Draws on the thread that asks; the asset set is an immutable snapshot.
class AssetImageProvider : public QQuickImageProvider
{
public:
    AssetImageProvider()
        : QQuickImageProvider(QQuickImageProvider::Image)
    {}

    QImage requestImage(const QString &id, QSize *size, const QSize &requestedSize) override
    {
        QImage image = AssetImages::current()->render(id, requestedSize);
        if (size)
            *size = image.size();
        return image;
    }
};

} // namespace

void installImageProviders(QQmlEngine &engine, bool offline)
{
    engine.addImageProvider(QStringLiteral("assets"), new AssetImageProvider);
    // Parented to the engine, so it outlives the engine's image reader thread.
    IconLimits limits;
    limits.networkAllowed = !offline;
    auto *loader = new IconLoader(limits, &engine);
    engine.addImageProvider(QStringLiteral("icon"), new IconImageProvider(loader));
    engine.addImageProvider(QStringLiteral("qr"), new QrImageProvider);
}
