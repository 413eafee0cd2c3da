#include "ui/iconimageprovider.h"

#include "ui/assetimages.h"
#include "ui/iconloader.h"

#include <QQuickTextureFactory>

namespace {

constexpr auto kBase64 = QByteArray::Base64UrlEncoding | QByteArray::OmitTrailingEquals;

// Lives on the thread that asked for it; hears from the loader through queued signals, so a
// response that goes away first simply stops listening.
class IconResponse : public QQuickImageResponse
{
public:
    // A response that has already failed, for addresses that are never fetched.
    explicit IconResponse(const QString &error)
        : m_error(error)
    {
        QMetaObject::invokeMethod(this, &QQuickImageResponse::finished, Qt::QueuedConnection);
    }

    IconResponse(std::shared_ptr<IconLoaderHandle> loader, const QUrl &address, const QSize &requestedSize,
                 double radius)
        : m_loader(std::move(loader))
        , m_ticket(IconLoader::newTicket())
        , m_requestedSize(requestedSize)
        , m_radius(radius)
    {
        bool asked = false;
        m_loader->withLoader([&](IconLoader *loader) {
            m_connection = connect(loader, &IconLoader::iconReady, this,
                                   [this](quint64 ticket, const QImage &image, const QString &error) {
                                       if (ticket == m_ticket)
                                           deliver(image, error);
                                   });
            QMetaObject::invokeMethod(
                loader, [loader, ticket = m_ticket, address] { loader->request(ticket, address); },
                Qt::QueuedConnection);
            asked = true;
        });
        if (!asked) {
            m_done = true;
            m_error = QStringLiteral("The window is closing.");
            QMetaObject::invokeMethod(this, &QQuickImageResponse::finished, Qt::QueuedConnection);
        }
    }

    QQuickTextureFactory *textureFactory() const override
    {
        return QQuickTextureFactory::textureFactoryForImage(m_image);
    }

    QString errorString() const override { return m_error; }

    void cancel() override
    {
        if (!m_loader || m_done)
            return;
        m_done = true;
        disconnect(m_connection);
        m_loader->withLoader([ticket = m_ticket](IconLoader *loader) {
            QMetaObject::invokeMethod(
                loader, [loader, ticket] { loader->cancel(ticket); }, Qt::QueuedConnection);
        });
        // The engine deletes a response only once it has finished, cancelled or not.
        m_error = QStringLiteral("Cancelled.");
        QMetaObject::invokeMethod(this, &QQuickImageResponse::finished, Qt::QueuedConnection);
    }

private:
    void deliver(const QImage &image, const QString &error)
    {
        if (m_done)
            return;
        m_done = true;
        disconnect(m_connection);
        m_error = error;
        QImage sized = image;
        const QSize bound = m_requestedSize;
        if (!sized.isNull() && bound.isValid() && !bound.isEmpty() &&
            (sized.width() > bound.width() || sized.height() > bound.height()))
            sized = sized.scaled(bound, Qt::KeepAspectRatio, Qt::SmoothTransformation);
        m_image = roundCorners(sized, m_radius);
        Q_EMIT finished();
    }

    std::shared_ptr<IconLoaderHandle> m_loader;
    QMetaObject::Connection m_connection;
    quint64 m_ticket = 0;
    QSize m_requestedSize;
    double m_radius = 0;
    bool m_done = false;
    QImage m_image;
    QString m_error;
};

} // namespace

IconImageProvider::IconImageProvider(IconLoader *loader)
    : m_loader(loader->handle())
{}

QQuickImageResponse *IconImageProvider::requestImageResponse(const QString &id, const QSize &requestedSize)
{
    const auto [encoded, radius] = splitImageId(id);
    const QUrl address = iconAddress(QString::fromUtf8(QByteArray::fromBase64(encoded.toLatin1(), kBase64)));
    if (address.isEmpty())
        return new IconResponse(QStringLiteral("Icons load over http or https only."));
    return new IconResponse(m_loader, address, requestedSize, radius);
}

QString iconImageSource(const QString &address, double radius)
{
    if (iconAddress(address).isEmpty())
        return {};
    QString source =
        QStringLiteral("image://icon/") + QString::fromLatin1(address.toUtf8().toBase64(kBase64));
    if (radius > 0)
        source += QStringLiteral("?radius=") + QString::number(std::min(radius, 0.5));
    return source;
}
