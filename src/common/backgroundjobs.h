// Runs work on threads of its own and hands each result back on the thread that owns this object.
// Lives on its owner's thread (the main thread); the work runs on one new thread per job.
//
// The hand-back goes through a std::mutex of ours rather than through a lambda queued on the event
// loop: Qt's internal locks are invisible to ThreadSanitizer in a normal Qt build, ours are not, so
// the concurrency tests can run under it without excusing anything of ours.
#pragma once

#include <QObject>

#include <condition_variable>
#include <deque>
#include <functional>
#include <mutex>
#include <thread>
#include <unordered_map>
#include <unordered_set>

class BackgroundJobs : public QObject
{
    Q_OBJECT

public:
    // What a job gives back: run on the owner's thread once the job has finished.
    using Completion = std::function<void()>;

    using QObject::QObject;
    // Waits for every job still running; their completions are dropped.
    ~BackgroundJobs() override;

    // Returns at once: threads are started by a launcher thread, since creating a hundred of them
    // while the first ones already run would hold up the caller.
    void start(std::function<Completion()> work);

private:
    Q_INVOKABLE void deliver();
    void launch();

    std::mutex m_mutex;
    std::condition_variable m_wake;
    std::deque<std::pair<quint64, std::function<Completion()>>> m_queued; // guarded by m_mutex
    std::deque<std::pair<quint64, Completion>> m_finished;                // guarded by m_mutex
    std::unordered_map<quint64, std::thread> m_threads;                   // guarded by m_mutex
    std::deque<std::thread> m_ended;                                      // guarded by m_mutex
    std::unordered_set<quint64> m_deliveredEarly;                         // guarded by m_mutex
    bool m_stopping = false;                                              // guarded by m_mutex
    quint64 m_nextJob = 0;                                                // owner's thread only
    std::thread m_launcher;                                               // owner's thread only
};
