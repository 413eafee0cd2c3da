#include "common/backgroundjobs.h"

#include <QPointer>

#if defined(Q_OS_LINUX)
#include <sys/resource.h>
#include <unistd.h>
#endif

namespace {

// A hundred jobs that wake up together (every source's index arriving at once) must not starve the
// thread that draws the screen: jobs run at the lowest priority, and threads they start inherit it.
// (Not SCHED_IDLE: a job holding one of our locks could then wait indefinitely for a core while the
// main thread waits for the lock.)
void yieldToTheMainThread()
{
#if defined(Q_OS_LINUX)
    setpriority(PRIO_PROCESS, id_t(gettid()), 19);
#endif
}

} // namespace

BackgroundJobs::~BackgroundJobs()
{
    {
        const std::lock_guard lock(m_mutex);
        m_stopping = true; // jobs not started yet are dropped
    }
    m_wake.notify_all();
    if (m_launcher.joinable())
        m_launcher.join();
    for (auto &[job, thread] : m_threads)
        thread.join();
    for (std::thread &thread : m_ended)
        thread.join();
}

void BackgroundJobs::start(std::function<Completion()> work)
{
    {
        const std::lock_guard lock(m_mutex);
        m_queued.emplace_back(++m_nextJob, std::move(work));
    }
    m_wake.notify_all();
    if (!m_launcher.joinable())
        m_launcher = std::thread([this] { launch(); });
}

void BackgroundJobs::launch()
{
    yieldToTheMainThread();
    std::unique_lock lock(m_mutex);
    for (;;) {
        m_wake.wait(lock, [this] { return m_stopping || !m_queued.empty() || !m_ended.empty(); });
        if (m_stopping)
            return;
        // Starting waiting jobs comes first; ended threads are only reaped when nothing waits.
        if (m_queued.empty()) {
            std::thread ended = std::move(m_ended.front());
            m_ended.pop_front();
            lock.unlock();
            ended.join();
            lock.lock();
            continue;
        }
        auto [job, work] = std::move(m_queued.front());
        m_queued.pop_front();
        // Started without the lock, so that the owner's thread never waits on a thread creation.
        lock.unlock();
        std::thread thread([this, job, work = std::move(work)] {
            Completion completion = work();
            {
                const std::lock_guard lock(m_mutex);
                m_finished.emplace_back(job, std::move(completion));
            }
            QMetaObject::invokeMethod(this, "deliver", Qt::QueuedConnection);
        });
        lock.lock();
        // A quick job may already have been delivered; its thread then only needs reaping.
        if (m_deliveredEarly.erase(job))
            m_ended.push_back(std::move(thread));
        else
            m_threads.emplace(job, std::move(thread));
    }
}

void BackgroundJobs::deliver()
{
    std::deque<std::pair<quint64, Completion>> finished;
    {
        const std::lock_guard lock(m_mutex);
        finished.swap(m_finished);
    }
    const QPointer<BackgroundJobs> alive(this);
    for (auto &[job, completion] : finished) {
        // Joined by the launcher, not here: an ended job's thread runs at a low priority and may
        // wait a while for a core to finish on, which must not hold up this thread.
        {
            const std::lock_guard lock(m_mutex);
            if (auto node = m_threads.extract(job))
                m_ended.push_back(std::move(node.mapped()));
            else
                m_deliveredEarly.insert(job);
        }
        m_wake.notify_all();
        completion();
        // A completion may end its owner, and this object with it.
        if (!alive)
            return;
    }
}
