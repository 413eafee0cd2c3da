#include "ui/iconloader.h"

#include "common/completionqueue.h"

#include <QBuffer>
#include <QFutureWatcher>
#include <QImageReader>
#include <QLoggingCategory>
#include <QtConcurrent/QtConcurrentRun>

#include <atomic>

Q_LOGGING_CATEGORY(lcIcons, "tallowpine.icons", QtInfoMsg)

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
    , m_answers(new CompletionQueue(this))
{
    m_decoded.setMaxCost(m_limits.cacheBytes);
}

IconLoader::~IconLoader()
{
    m_handle->forget();
    for (const Download &download : std::as_const(m_downloads)) {
        if (download.request)
            HttpClient::shared().cancel(download.request);
    }
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
    m_downloads.insert(key, Download{0, {ticket}, {}});
    start(key, address);
}

void IconLoader::start(const QString &key, const QUrl &address)
{
    HttpRequest request;
    request.url = address;
    request.timeoutMilliseconds = m_limits.requestTimeoutMs;
    request.connectTimeoutMilliseconds = m_limits.transferTimeoutMs;
    request.stallMilliseconds = m_limits.transferTimeoutMs;
    request.maxBodyBytes = m_limits.maxBodyBytes;
    ++m_networkRequests;
    // The answer comes on the client's thread and is handed straight on to this one, where the id
    // below has been recorded by then.
    auto id = std::make_shared<HttpClient::Id>(0);
    CompletionQueue *answers = m_answers;
    *id = HttpClient::shared().start(std::move(request), [this, answers, key, id](HttpResponse response) {
        answers->post([this, key, id, response = std::move(response)] { onFinished(key, *id, response); });
    });
    m_downloads[key].request = *id;
}

void IconLoader::abortDownload(const QString &key, const QString &reason)
{
    auto found = m_downloads.find(key);
    if (found == m_downloads.end() || !found->request)
        return;
    HttpClient::shared().cancel(found->request);
    qCDebug(lcIcons) << "icon stopped" << key << reason;
    complete(key, {}, reason);
}

void IconLoader::cancel(quint64 ticket)
{
    const QString key = m_ticketKeys.take(ticket);
    auto found = m_downloads.find(key);
    if (found == m_downloads.end())
        return;
    found->tickets.removeOne(ticket);
    // Once the body is decoding it is nearly done, and the cache may as well keep the result.
    if (found->tickets.isEmpty() && found->request)
        abortDownload(key, QStringLiteral("Nobody waits for the icon any more."));
}

void IconLoader::onFinished(const QString &key, HttpClient::Id request, const HttpResponse &response)
{
    auto found = m_downloads.find(key);
    if (found == m_downloads.end() || found->request != request)
        return;
    // The status code does not matter: an error page that happens to be a picture still shows.
    // Only a transfer that never produced a whole answer fails before decoding.
    if (response.failure != HttpFailure::None) {
        const QString reason =
            response.failure == HttpFailure::TooLarge
                ? QStringLiteral("The icon is larger than %1 bytes.").arg(m_limits.maxBodyBytes)
            : response.failure == HttpFailure::TimedOut
                ? QStringLiteral("The icon took too long to download.")
                : response.error;
        qCDebug(lcIcons) << "icon failed" << key << reason;
        complete(key, {}, reason);
        return;
    }
    found->request = 0;
    QByteArray bytes;
    bytes.reserve(qsizetype(response.bodyBytes));
    for (const QByteArray &piece : response.body)
        bytes.append(piece);
    // Decoding a large picture takes long enough to drop frames, so it happens off this thread. The
    // watcher is a child, so a loader that goes away first hears nothing back.
    auto *watcher = new QFutureWatcher<QImage>(this);
    connect(watcher, &QFutureWatcher<QImage>::finished, this, [this, key, watcher] {
        const QImage image = watcher->result();
        watcher->deleteLater();
        complete(key, image, image.isNull() ? QStringLiteral("The icon is not a picture.") : QString());
    });
    watcher->setFuture(QtConcurrent::run(decodeIcon, bytes, m_limits.largestSide));
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
