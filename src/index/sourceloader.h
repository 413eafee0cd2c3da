// Loads sources' indexes without ever holding up its own thread: the requests and replies run on one
// network thread of the loader's own, the disk and CPU work on a pool of workers, and each result is
// handed back here.
// Lives on the main thread.
#pragma once

#include "index/indexdownload.h"

#include <QHash>
#include <QObject>

#include <functional>
#include <memory>
#include <unordered_map>

class CompletionQueue;
class IndexFetcher;
class QThread;

class SourceLoader : public QObject
{
    Q_OBJECT

public:
    explicit SourceLoader(LoadEnvironment environment, QObject *parent = nullptr);
    // Aborts the requests in flight and waits for the workers; no `done` runs after this.
    ~SourceLoader() override;

    // `done` runs on this loader's thread, exactly once, unless the loader is destroyed first.
    void load(const QString &link, bool force, std::function<void(const LoadResult &)> done);

    // How each link was last served; for the command line's report.
    [[nodiscard]] ServedFrom lastServedFrom(const QString &link) const
    {
        return m_servedFrom.value(link, ServedFrom::Nothing);
    }

private:
    void finish(quint64 ticket, const QString &link, const std::shared_ptr<const LoadResult> &result);

    QHash<QString, ServedFrom> m_servedFrom;
    std::unordered_map<quint64, std::function<void(const LoadResult &)>> m_pending;
    quint64 m_nextTicket = 0;
    CompletionQueue *m_results = nullptr;
    QThread *m_networkThread = nullptr;
    IndexFetcher *m_fetcher = nullptr; // lives on m_networkThread
};
