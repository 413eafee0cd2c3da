#include "common/backgroundjobs.h"

#include <QElapsedTimer>
#include <QPointer>
#include <QRunnable>
#include <QThread>

#include <algorithm>

#if defined(Q_OS_LINUX)
#include <sys/resource.h>
#include <unistd.h>
#endif

namespace {

// Many results landing together (every source's index arriving at once) must not starve the thread
// that draws the screen: pool threads run at the lowest priority. (Not SCHED_IDLE: a job holding
// one of our locks could then wait indefinitely for a core while the main thread waits for it.)
void yieldToTheMainThread()
{
#if defined(Q_OS_LINUX)
    thread_local bool lowered = false;
    if (!lowered) {
        setpriority(PRIO_PROCESS, id_t(gettid()), 19);
        lowered = true;
    }
#endif
}

} // namespace

// Started once per job; each run takes whichever job is next in our queue. Made before the pool has
// a thread, so every pool thread sees it complete.
class BackgroundJobs::Runner : public QRunnable
{
public:
    explicit Runner(BackgroundJobs &jobs)
        : m_jobs(jobs)
    {
        setAutoDelete(false);
    }
    void run() override { m_jobs.runOne(); }

private:
    BackgroundJobs &m_jobs;
};

BackgroundJobs::BackgroundJobs(QObject *parent)
    : QObject(parent)
    , m_runner(std::make_unique<Runner>(*this))
{
    m_pool.setMaxThreadCount(std::max(1, QThread::idealThreadCount()));
}

BackgroundJobs::~BackgroundJobs()
{
    {
        const std::lock_guard lock(m_mutex);
        m_stopping = true;
    }
    m_pool.clear();
    m_pool.waitForDone();
    // Every job ends by taking our lock, so taking it once more orders all they did before what
    // is freed here, in a way ThreadSanitizer can see (the pool's own wait it cannot).
    const std::lock_guard lock(m_mutex);
}

void BackgroundJobs::start(std::function<Completion()> work)
{
    {
        const std::lock_guard lock(m_mutex);
        m_queued.push_back(std::move(work));
    }
    m_pool.start(m_runner.get());
}

void BackgroundJobs::runOne()
{
    yieldToTheMainThread();
    std::function<Completion()> work;
    {
        const std::lock_guard lock(m_mutex);
        if (m_stopping || m_queued.empty())
            return;
        work = std::move(m_queued.front());
        m_queued.pop_front();
    }
    Completion completion = work();
    // The job's captures (downloaded bodies, parsed text) are let go here, on this thread.
    work = nullptr;

    const std::lock_guard lock(m_mutex);
    if (!completion || m_stopping)
        return;
    m_finished.push_back(std::move(completion));
    // Posted under the lock, so it cannot race with this object's end.
    if (!std::exchange(m_deliveryPosted, true))
        QMetaObject::invokeMethod(this, "deliver", Qt::QueuedConnection);
}

void BackgroundJobs::deliver()
{
    // Completions run in slices of a couple of milliseconds: a hundred results landing together
    // must not hold up the screen while they are published.
    constexpr qint64 kSliceNanoseconds = 2'000'000;
    QElapsedTimer slice;
    slice.start();
    const QPointer<BackgroundJobs> alive(this);
    for (;;) {
        Completion completion;
        {
            const std::lock_guard lock(m_mutex);
            if (m_finished.empty()) {
                m_deliveryPosted = false;
                return;
            }
            if (slice.nsecsElapsed() > kSliceNanoseconds) {
                // The rest in a later turn of the event loop, after whatever else waits there.
                QMetaObject::invokeMethod(this, "deliver", Qt::QueuedConnection);
                return;
            }
            completion = std::move(m_finished.front());
            m_finished.pop_front();
        }
        completion();
        // A completion may end its owner, and this object with it.
        if (!alive)
            return;
    }
}
