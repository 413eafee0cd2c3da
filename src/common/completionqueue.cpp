#include "common/completionqueue.h"

#include <QElapsedTimer>
#include <QPointer>

CompletionQueue::CompletionQueue(QObject *parent)
    : QObject(parent)
{}

CompletionQueue::~CompletionQueue()
{
    // Orders the last post, wake-up included, before what is freed here, in a way ThreadSanitizer
    // can see.
    const std::scoped_lock lock(m_postingMutex, m_mutex);
    m_queued.clear();
}

void CompletionQueue::post(Completion completion)
{
    // Only posters and the end of this queue take this one; the owner's thread never waits on it.
    const std::lock_guard posting(m_postingMutex);
    bool wake = false;
    {
        const std::lock_guard lock(m_mutex);
        m_queued.push_back(std::move(completion));
        wake = !std::exchange(m_deliveryPosted, true);
    }
    // Outside the lock the owner takes: posting an event allocates and takes Qt's own locks, and the
    // owner's thread must never wait on a poster that lost its core in the middle of that.
    if (wake)
        QMetaObject::invokeMethod(this, "deliver", Qt::QueuedConnection);
}

void CompletionQueue::deliver()
{
    // A hundred results landing together must not hold up the owner's thread (the one that draws
    // the screen, for the main queue) while they run.
    constexpr qint64 kSliceNanoseconds = 2'000'000;
    QElapsedTimer slice;
    slice.start();
    const QPointer<CompletionQueue> alive(this);
    for (;;) {
        Completion completion;
        {
            const std::lock_guard lock(m_mutex);
            if (m_queued.empty()) {
                m_deliveryPosted = false;
                return;
            }
            if (slice.nsecsElapsed() > kSliceNanoseconds) {
                // The rest in a later turn of the event loop, after whatever else waits there.
                QMetaObject::invokeMethod(this, "deliver", Qt::QueuedConnection);
                return;
            }
            completion = std::move(m_queued.front());
            m_queued.pop_front();
        }
        completion();
        // A completion may end its owner, and this queue with it.
        if (!alive)
            return;
    }
}
