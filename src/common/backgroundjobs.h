// Runs work on a small pool of threads and hands each result back on the thread that owns this object.
// Lives on its owner's thread (the main thread); the work runs on the pool's threads.
//
// Work goes in and completions come back through std::mutexes of ours rather than inside the lambdas
// that Qt queues: Qt's internal locks are invisible to ThreadSanitizer in a normal Qt build, ours are
// not, so the concurrency tests can run under it without excusing anything of ours. The pool only
// ever runs one fixed runnable that takes the next piece of work from our queue.
#pragma once

#include "common/completionqueue.h"

#include <QObject>
#include <QThreadPool>

#include <deque>
#include <functional>
#include <memory>
#include <mutex>

class BackgroundJobs : public QObject
{
    Q_OBJECT

public:
    // What a job gives back: run on the owner's thread once the job has finished.
    using Completion = CompletionQueue::Completion;

    // One thread per core: they run at the lowest priority, so the thread that draws the screen
    // still gets a core whenever it wants one.
    explicit BackgroundJobs(QObject *parent = nullptr);
    // Drops work not started yet, waits for work that runs; no completion runs after this.
    ~BackgroundJobs() override;

    // Returns at once. A job that returns an empty completion hands nothing back (useful for
    // letting big buffers go on a worker rather than here).
    void start(std::function<Completion()> work);

private:
    class Runner;
    void runOne();

    std::mutex m_mutex;
    std::deque<std::function<Completion()>> m_queued; // guarded by m_mutex
    bool m_stopping = false;                          // guarded by m_mutex
    CompletionQueue *m_finished = nullptr;            // a child: outlives the pool's threads
    std::unique_ptr<Runner> m_runner;                 // set before the pool starts any thread
    QThreadPool m_pool;                               // last: its threads end before the rest
};
