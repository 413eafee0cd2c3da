// Waits for a pause before acting: each start() replaces the pending action and restarts the wait.
// Main thread; tests substitute a timer they fire by hand.
#pragma once

#include <QTimer>

#include <functional>

class DebounceTimer
{
public:
    virtual ~DebounceTimer() = default;
    virtual void start(std::function<void()> action) = 0;
};

class QtDebounceTimer : public DebounceTimer
{
public:
    explicit QtDebounceTimer(int milliseconds)
    {
        m_timer.setSingleShot(true);
        // A coarse timer may fire up to 5% early; the pause is a minimum, never shorter.
        m_timer.setTimerType(Qt::PreciseTimer);
        m_timer.setInterval(milliseconds);
        QObject::connect(&m_timer, &QTimer::timeout, [this] {
            if (m_action)
                m_action();
        });
    }

    void start(std::function<void()> action) override
    {
        m_action = std::move(action);
        m_timer.start();
    }

private:
    QTimer m_timer;
    std::function<void()> m_action;
};
