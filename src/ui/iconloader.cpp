#include "ui/iconloader.h"

#include <QBuffer>
#include <QFutureWatcher>
#include <QImageReader>
#include <QLoggingCategory>
#include <QNetworkReply>
#include <QNetworkRequest>
#include <QTimer>
#include <QtConcurrent/QtConcurrentRun>

#include <atomic>

Q_LOGGING_CATEGORY(lcIcons, "tallowpine.icons", QtInfoMsg)

namespace {

// The status code does not matter: an error page that happens to be a picture still shows.
// Only a transfer that never produced a whole answer fails before decoding.
bool bodyIsAnswer(QNetworkReply::NetworkError error)
{
    return error == QNetworkReply::NoError ||
           (error >= QNetworkReply::ContentAccessDenied && error <= QNetworkReply::UnknownContentError) ||
           (error >= QNetworkReply::InternalServerError && error <= QNetworkReply::UnknownServerError);
}

} // namespace

void IconLoaderHandle::withLoader(const std::function<void(IconLoader *)> &use)
{
    const std::lock_guard lock(m_mutex);
    if (m_loader)
        use(m_loader);
}

void IconLoaderHandle::forget()
{
    const std::lock_guard lock(m_mutex);
    m_loader = nullptr;
}

IconLoader::IconLoader(IconLimits limits, QObject *parent)
    : QObject(parent)
    , m_limits(limits)
{
    m_decoded.setMaxCost(m_limits.cacheBytes);
}

IconLoader::~IconLoader()
{
    m_handle->forget();
}

quint64 IconLoader::newTicket()
{
    static std::atomic<quint64> next{1};
    return next.fetch_add(1, std::memory_order_relaxed);
}

void IconLoader::request(quint64 ticket, const QUrl &address)
{
    const QString key = address.toString(QUrl::FullyEncoded);
    if (const QImage *image = m_decoded.object(key)) {
        Q_EMIT iconReady(ticket, *image, {});
        return;
    }
    if (!m_limits.networkAllowed) {
        Q_EMIT iconReady(ticket, {}, QStringLiteral("Offline: icons are not downloaded."));
        return;
    }
    m_ticketKeys.insert(ticket, key);
    auto found = m_downloads.find(key);
    if (found != m_downloads.end()) {
        found->tickets.append(ticket);
        return;
    }
    m_downloads.insert(key, Download{nullptr, {ticket}, {}});
    start(key, address);
}

void IconLoader::start(const QString &key, const QUrl &address)
{
    QNetworkRequest request(address);
    request.setTransferTimeout(m_limits.transferTimeoutMs);
    QNetworkReply *reply = m_network.get(request);
    ++m_networkRequests;
    m_downloads[key].reply = reply;

    const qint64 cap = m_limits.maxBodyBytes;
    connect(reply, &QNetworkReply::downloadProgress, this, [this, key, cap](qint64 received, qint64 total) {
        if (received > cap || total > cap)
            abortDownload(key, QStringLiteral("The icon is larger than %1 bytes.").arg(cap));
    });
    QTimer::singleShot(m_limits.requestTimeoutMs, reply, [this, key] {
        abortDownload(key, QStringLiteral("The icon took too long to download."));
    });
    connect(reply, &QNetworkReply::finished, this, [this, key, reply] { onFinished(key, reply); });
}

void IconLoader::abortDownload(const QString &key, const QString &reason)
{
    auto found = m_downloads.find(key);
    if (found == m_downloads.end() || !found->reply)
        return;
    found->failure = reason;
    // abort() may finish the reply at once, which removes the entry: touch nothing after it.
    QNetworkReply *reply = found->reply;
    reply->abort();
}

void IconLoader::cancel(quint64 ticket)
{
    const QString key = m_ticketKeys.take(ticket);
    auto found = m_downloads.find(key);
    if (found == m_downloads.end())
        return;
    found->tickets.removeOne(ticket);
    // Once the body is decoding it is nearly done, and the cache may as well keep the result.
    if (found->tickets.isEmpty() && found->reply)
        abortDownload(key, QStringLiteral("Nobody waits for the icon any more."));
}

void IconLoader::onFinished(const QString &key, QNetworkReply *reply)
{
    reply->deleteLater();
    auto found = m_downloads.find(key);
    if (found == m_downloads.end() || found->reply != reply)
        return;
    if (found->tickets.isEmpty()) {
        m_downloads.erase(found);
        return;
    }
    const QNetworkReply::NetworkError error = reply->error();
    if (!found->failure.isEmpty() || !bodyIsAnswer(error)) {
        const QString reason = found->failure.isEmpty() ? reply->errorString() : found->failure;
        qCDebug(lcIcons) << "icon failed" << key << reason;
        complete(key, {}, reason);
        return;
    }
    found->reply = nullptr;
    // Decoding a large picture takes long enough to drop frames, so it happens off this thread. The
    // watcher is a child, so a loader that goes away first hears nothing back.
    auto *watcher = new QFutureWatcher<QImage>(this);
    connect(watcher, &QFutureWatcher<QImage>::finished, this, [this, key, watcher] {
        const QImage image = watcher->result();
        watcher->deleteLater();
        complete(key, image, image.isNull() ? QStringLiteral("The icon is not a picture.") : QString());
    });
    watcher->setFuture(QtConcurrent::run(decodeIcon, reply->readAll(), m_limits.largestSide));
}

void IconLoader::complete(const QString &key, const QImage &image, const QString &error)
{
    const Download download = m_downloads.take(key);
    if (!image.isNull())
        m_decoded.insert(key, new QImage(image), image.sizeInBytes());
    for (const quint64 ticket : download.tickets) {
        m_ticketKeys.remove(ticket);
        Q_EMIT iconReady(ticket, image, error);
    }
}

QUrl iconAddress(const QString &address)
{
    const QUrl url(address, QUrl::StrictMode);
    const QString scheme = url.scheme();
    if (!url.isValid() || url.host().isEmpty() ||
        (scheme != QLatin1String("http") && scheme != QLatin1String("https")))
        return {};
    return url;
}

QImage decodeIcon(const QByteArray &bytes, int largestSide)
{
    QBuffer buffer;
    buffer.setData(bytes);
    buffer.open(QIODevice::ReadOnly);
    QImageReader reader(&buffer);
    reader.setAutoTransform(true);
    const QSize bound(largestSide, largestSide);
    const QSize size = reader.size();
    // Formats that can decode straight at the smaller size save the full-size allocation.
    if (size.isValid() && (size.width() > largestSide || size.height() > largestSide))
        reader.setScaledSize(size.scaled(bound, Qt::KeepAspectRatio));
    QImage image = reader.read();
    if (image.isNull())
        return {};
    if (image.width() > largestSide || image.height() > largestSide)
        image = image.scaled(bound, Qt::KeepAspectRatio, Qt::SmoothTransformation);
    return image;
}
