#include "common/backgroundjobs.h"

#include <QPointer>

BackgroundJobs::~BackgroundJobs()
{
    for (auto &[job, thread] : m_threads)
        thread.join();
}

void BackgroundJobs::start(std::function<Completion()> work)
{
    const quint64 job = ++m_nextJob;
    m_threads.emplace(job, std::thread([this, job, work = std::move(work)] {
                          Completion completion = work();
                          {
                              const std::lock_guard lock(m_mutex);
                              m_finished.emplace_back(job, std::move(completion));
                          }
                          QMetaObject::invokeMethod(this, "deliver", Qt::QueuedConnection);
                      }));
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
        // The thread has handed over its result and is about to end; joining is immediate.
        if (auto thread = m_threads.find(job); thread != m_threads.end()) {
            thread->second.join();
            m_threads.erase(thread);
        }
        completion();
        // A completion may end its owner, and this object with it.
        if (!alive)
            return;
    }
}
