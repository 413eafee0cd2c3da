// Lets only as many threads decode and parse at once as there are cores to spare. A hundred loads
// waiting on the network cost nothing, but a hundred inflating and parsing at once crowd out the
// main thread (it then waits on the allocator and the scheduler) for hundreds of milliseconds.
// Shared by every thread of the process.
#pragma once

#include <condition_variable>
#include <mutex>

class CpuGate
{
public:
    // Holds one place for as long as it lives.
    class Pass
    {
    public:
        explicit Pass(CpuGate &gate);
        ~Pass();
        Pass(const Pass &) = delete;
        Pass &operator=(const Pass &) = delete;

    private:
        CpuGate &m_gate;
    };

    explicit CpuGate(int places);

    // One place fewer than the machine has cores, and at least one: a core stays free for the UI.
    [[nodiscard]] static CpuGate &shared();
    [[nodiscard]] Pass enter() { return Pass(*this); }

private:
    std::mutex m_mutex;
    std::condition_variable m_freed;
    int m_free = 1; // guarded by m_mutex
};
