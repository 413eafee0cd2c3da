#include "search/filterpipeline.h"

#include "common/threadpriority.h"

FilterPipeline::FilterPipeline(std::unique_ptr<DebounceTimer> textTimer, QObject *parent)
    : QObject(parent)
    , m_textTimer(textTimer ? std::move(textTimer) : std::make_unique<QtDebounceTimer>(textPauseMilliseconds))
{
    m_worker = std::thread([this] {
        // Typing's results come from here, but never ahead of drawing them.
        setThisThreadNice(5);
        work();
    });
    // The search text starts out empty and, like any typing, counts once it has settled.
    setSearchText(QString());
}

FilterPipeline::~FilterPipeline()
{
    {
        const std::lock_guard lock(m_mutex);
        m_stopping = true;
    }
    m_wake.notify_all();
    m_worker.join();
}

void FilterPipeline::setSearchText(const QString &text)
{
    m_textTimer->start([this, text] { onTextSettled(text); });
}

void FilterPipeline::onTextSettled(const QString &text)
{
    // Duplicates are judged before trimming, so typing a trailing space still filters again.
    if (m_settledText == text)
        return;
    m_settledText = text;
    run();
}

void FilterPipeline::setArchitecture(const std::optional<QString> &architecture)
{
    m_architecture = architecture;
    run();
}

void FilterPipeline::setPackagesMode(bool packagesMode)
{
    m_packagesMode = packagesMode;
    run();
}

void FilterPipeline::setPool(const PackagePool &pool)
{
    m_pool = pool;
    run();
}

void FilterPipeline::waitForIdle()
{
    std::unique_lock lock(m_mutex);
    m_wake.wait(lock, [this] { return m_jobs.empty() && !m_busy; });
}

void FilterPipeline::run()
{
    if (!m_settledText)
        return;
    {
        const std::lock_guard lock(m_mutex);
        m_jobs.push_back(Job{m_pool, PackageQuery{m_settledText->trimmed(), m_architecture, m_packagesMode}});
    }
    m_wake.notify_all();
}

void FilterPipeline::work()
{
    // One worker, jobs in order: results can never overtake each other.
    std::unique_lock lock(m_mutex);
    for (;;) {
        m_wake.wait(lock, [this] { return m_stopping || !m_jobs.empty(); });
        if (m_stopping)
            return;
        // Each job holds every input: only the newest one's result will be looked at.
        Job job = std::move(m_jobs.back());
        m_jobs.clear();
        m_busy = true;
        lock.unlock();

        m_cache.keepOnly(job.pool);
        PackageSelection result(job.pool, refilterPackageRows(m_last, job.pool, job.query, m_cache));
        m_last = FilterResult{job.query, result};

        lock.lock();
        m_results.push_back(std::move(result));
        // Posted without our lock held: the main thread takes it to queue work and to collect
        // results, and must not wait while this thread allocates and takes Qt's locks. Posted
        // before this thread counts as idle, so whoever waits for idle finds the result queued.
        lock.unlock();
        QMetaObject::invokeMethod(this, "deliver", Qt::QueuedConnection);
        lock.lock();
        m_busy = false;
        m_wake.notify_all();
    }
}

void FilterPipeline::deliver()
{
    std::deque<PackageSelection> results;
    {
        const std::lock_guard lock(m_mutex);
        results.swap(m_results);
    }
    for (const PackageSelection &result : results)
        Q_EMIT filtered(result);
}
