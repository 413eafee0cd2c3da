// Keeps the "All Packages" result in step with the search text, architecture, mode and pool.
// Text waits for a pause in typing; the other inputs apply at once; filtering runs on one worker
// thread so results arrive in order and typing never waits for it; a job that a newer one has
// overtaken in the queue is dropped unseen. Lives on the main thread.
#pragma once

#include "search/debouncetimer.h"
#include "search/packagefilter.h"

#include <QObject>

#include <condition_variable>
#include <deque>
#include <memory>
#include <mutex>
#include <optional>
#include <thread>

class FilterPipeline : public QObject
{
    Q_OBJECT

public:
    static constexpr int textPauseMilliseconds = 250;

    explicit FilterPipeline(std::unique_ptr<DebounceTimer> textTimer = {}, QObject *parent = nullptr);
    ~FilterPipeline() override;

    void setSearchText(const QString &text);
    void setArchitecture(const std::optional<QString> &architecture);
    void setPackagesMode(bool packagesMode);
    void setPool(const PackagePool &pool);

    // Blocks until the worker has filtered everything asked of it; for tests.
    void waitForIdle();

Q_SIGNALS:
    void filtered(const PackageSelection &selection);

private:
    struct Job
    {
        PackagePool pool;
        PackageQuery query;
    };

    void onTextSettled(const QString &text);
    void run();
    void work();
    Q_INVOKABLE void deliver();

    std::unique_ptr<DebounceTimer> m_textTimer;
    // Unset until the first pause in typing: nothing is filtered before every input is known.
    std::optional<QString> m_settledText;
    std::optional<QString> m_architecture;
    bool m_packagesMode = false;
    PackagePool m_pool;

    // Jobs in and results out go through our own lock, which ThreadSanitizer can follow.
    std::mutex m_mutex;
    std::condition_variable m_wake;
    std::deque<Job> m_jobs;                 // guarded by m_mutex
    std::deque<PackageSelection> m_results; // guarded by m_mutex
    bool m_busy = false;                    // guarded by m_mutex
    bool m_stopping = false;                // guarded by m_mutex
    SearchIndexCache m_cache;               // the worker's alone
    FilterResult m_last;                    // the worker's alone: where the next filter may start from
    std::thread m_worker;                   // started last, joined first
};
