// Runs each source load on a thread of its own, so every source loads at once and a load stuck on
// the network never holds up another, and hands each result back on the main thread.
// Lives on the main thread.
#pragma once

#include "common/backgroundjobs.h"
#include "index/indexdownload.h"

#include <QHash>
#include <QObject>

#include <functional>
#include <unordered_map>

class SourceLoader : public QObject
{
    Q_OBJECT

public:
    explicit SourceLoader(LoadEnvironment environment, QObject *parent = nullptr);
    // Tells running loads to give up their waits, then waits for them: closing never hangs on a
    // stalled server.
    ~SourceLoader() override;

    // `done` runs on the main thread, exactly once, unless the loader is destroyed first.
    void load(const QString &link, bool force, std::function<void(const LoadResult &)> done);

    // How each link was last served; for the command line's report.
    [[nodiscard]] ServedFrom lastServedFrom(const QString &link) const
    {
        return m_servedFrom.value(link, ServedFrom::Nothing);
    }

private:
    LoadEnvironment m_environment;
    std::shared_ptr<std::atomic_bool> m_cancelled = std::make_shared<std::atomic_bool>(false);
    QHash<QString, ServedFrom> m_servedFrom;
    std::unordered_map<quint64, std::function<void(const LoadResult &)>> m_pending;
    quint64 m_nextTicket = 0;
    BackgroundJobs *m_jobs = nullptr;
};
