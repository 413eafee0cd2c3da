// Runs functions handed over from any thread on the thread that owns this queue, a couple of
// milliseconds' worth per turn of that thread's event loop.
// Lives on its owner's thread; post() may be called from any thread.
//
// The hand-over goes through a std::mutex of ours rather than inside the lambdas that Qt queues: Qt's
// internal locks are invisible to ThreadSanitizer in a normal Qt build, ours are not, so what one
// thread built before posting is seen as built by the thread that runs it.
#pragma once

#include <QObject>

#include <deque>
#include <functional>
#include <mutex>

class CompletionQueue : public QObject
{
    Q_OBJECT

public:
    using Completion = std::function<void()>;

    explicit CompletionQueue(QObject *parent = nullptr);
    // Whatever is still queued is dropped, never run. Whoever posts must be gone by then.
    ~CompletionQueue() override;

    void post(Completion completion);

private:
    Q_INVOKABLE void deliver();

    std::mutex m_postingMutex; // held by a poster until its wake-up is posted
    std::mutex m_mutex;
    std::deque<Completion> m_queued; // guarded by m_mutex
    bool m_deliveryPosted = false;   // guarded by m_mutex
};
