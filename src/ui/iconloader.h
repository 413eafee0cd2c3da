// Package icons from the network: the process's HTTP client for every icon on screen, one download
// per address however many rows ask for it, and a bounded memory cache of decoded pictures so rows that
// scroll back into view show their icon without fetching it again.
// Main thread; image responses on the pixmap reader's thread talk to it through queued calls, and
// answers from the HTTP client's thread come back through a completion queue.
#pragma once

#include "common/httpclient.h"

#include <QCache>
#include <QHash>
#include <QImage>
#include <QList>
#include <QObject>
#include <QString>
#include <QUrl>

#include <functional>
#include <memory>
#include <mutex>

class CompletionQueue;
class IconLoader;

// How image responses on the reader's thread reach the loader: the loader forgets itself here when it
// goes, so a response cancelled while the window closes reaches nothing instead of a freed loader.
// Shared between the main thread (the loader) and the pixmap reader's thread (responses).
class IconLoaderHandle
{
public:
    explicit IconLoaderHandle(IconLoader *loader)
        : m_loader(loader)
    {}
    // Runs `use` with the loader, or not at all once it is gone; the loader cannot go meanwhile.
    void withLoader(const std::function<void(IconLoader *)> &use);
    void forget();

private:
    std::mutex m_mutex;
    IconLoader *m_loader = nullptr; // guarded by m_mutex
};

struct IconLimits
{
    qint64 maxBodyBytes = 4 * 1024 * 1024;
    int requestTimeoutMs = 20000;  // the whole request, however slowly it trickles
    int transferTimeoutMs = 10000; // no byte for this long
    qint64 cacheBytes = 32 * 1024 * 1024;
    // Rows draw icons at 50 points; 160 pixels covers that at up to three device pixels a point.
    int largestSide = 160;
    // Off when the app runs offline: every icon fails at once, with no request.
    bool networkAllowed = true;
};

class IconLoader : public QObject
{
    Q_OBJECT

public:
    explicit IconLoader(IconLimits limits = {}, QObject *parent = nullptr);
    ~IconLoader() override;

    [[nodiscard]] std::shared_ptr<IconLoaderHandle> handle() const { return m_handle; }
    [[nodiscard]] bool networkAllowed() const { return m_limits.networkAllowed; }

    // A ticket names one waiting image response; unique across threads.
    [[nodiscard]] static quint64 newTicket();

    // Answers `ticket` through iconReady, from the cache or once the address has downloaded.
    // `address` must have passed iconAddress().
    void request(quint64 ticket, const QUrl &address);
    // The ticket gets no answer; the download stops when nobody else waits for it.
    void cancel(quint64 ticket);

    // Network requests started so far, for the tests.
    [[nodiscard]] int networkRequestCount() const { return m_networkRequests; }

Q_SIGNALS:
    // A null image comes with a reason.
    void iconReady(quint64 ticket, const QImage &image, const QString &error);

private:
    struct Download
    {
        HttpClient::Id request = 0; // 0 while the body decodes
        QList<quint64> tickets;
        QString failure; // set before an abort of our own
    };

    void start(const QString &key, const QUrl &address);
    void abortDownload(const QString &key, const QString &reason);
    void onFinished(const QString &key, HttpClient::Id request, const HttpResponse &response);
    void complete(const QString &key, const QImage &image, const QString &error);

    IconLimits m_limits;
    CompletionQueue *m_answers = nullptr; // a child: outlives every request, which end before it
    QCache<QString, QImage> m_decoded;
    QHash<QString, Download> m_downloads;
    QHash<quint64, QString> m_ticketKeys;
    int m_networkRequests = 0;
    std::shared_ptr<IconLoaderHandle> m_handle = std::make_shared<IconLoaderHandle>(this);
};

// The address as a URL when it parses strictly and is http or https with a host; otherwise empty,
// and no request is ever made for it.
[[nodiscard]] QUrl iconAddress(const QString &address);
// Decodes any image format Qt reads, shrunk to fit `largestSide`; null when the bytes are no image.
[[nodiscard]] QImage decodeIcon(const QByteArray &bytes, int largestSide);
