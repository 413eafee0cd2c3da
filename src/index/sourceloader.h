// Loads sources' indexes: every source's requests in flight at once on one network access manager,
// replies handled as they come, and the disk and CPU work (cache, decoding, parsing, search index)
// done as values on a small pool of worker threads. Each result is handed back on the main thread.
// Lives on the main thread.
#pragma once

#include "common/backgroundjobs.h"
#include "index/indexdownload.h"

#include <QHash>
#include <QObject>

#include <functional>
#include <memory>
#include <unordered_map>

class QNetworkAccessManager;
class QNetworkReply;

class SourceLoader : public QObject
{
    Q_OBJECT

public:
    explicit SourceLoader(LoadEnvironment environment, QObject *parent = nullptr);
    // Aborts the requests in flight and waits for the workers; no `done` runs after this.
    ~SourceLoader() override;

    // `done` runs on the main thread, exactly once, unless the loader is destroyed first.
    void load(const QString &link, bool force, std::function<void(const LoadResult &)> done);

    // How each link was last served; for the command line's report.
    [[nodiscard]] ServedFrom lastServedFrom(const QString &link) const
    {
        return m_servedFrom.value(link, ServedFrom::Nothing);
    }

private:
    struct Load;

    void lookUpHost(const std::shared_ptr<Load> &load);
    void tryNextCandidate(const std::shared_ptr<Load> &load);
    void drain(const std::shared_ptr<Load> &load, QNetworkReply *reply);
    void giveUp(const std::shared_ptr<Load> &load, QNetworkReply *reply, const char *why);
    void complete(const std::shared_ptr<Load> &load, QNetworkReply *reply);
    void endWithoutNetwork(const std::shared_ptr<Load> &load, bool notModified);
    void finish(quint64 ticket, const QString &link, const std::shared_ptr<const LoadResult> &result);

    LoadEnvironment m_environment;
    QHash<QString, ServedFrom> m_servedFrom;
    std::unordered_map<quint64, std::function<void(const LoadResult &)>> m_pending;
    quint64 m_nextTicket = 0;
    QNetworkAccessManager *m_network = nullptr;
    BackgroundJobs *m_jobs = nullptr;
};
