#include "common/backgroundjobs.h"

#include "common/threadpriority.h"

#include <QRunnable>
#include <QThread>

#include <algorithm>

namespace {

// Many results landing together (every source's index arriving at once) must not starve the thread
// that draws the screen: pool threads run at the lowest priority. (Not SCHED_IDLE: a job holding
// one of our locks could then wait indefinitely for a core while the main thread waits for it.)
void yieldToTheMainThread()
{
    thread_local bool lowered = false;
    if (!lowered) {
        setThisThreadNice(19);
        lowered = true;
    }
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
    , m_finished(new CompletionQueue(this))
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

    if (!completion)
        return;
    {
        const std::lock_guard lock(m_mutex);
        if (m_stopping)
            return;
    }
    // Outside our lock, which the main thread takes to start work: a worker that loses its core
    // while it holds a lock makes whoever waits for that lock wait as long. The queue outlives every
    // job (the destructor waits for them).
    m_finished->post(std::move(completion));
}
