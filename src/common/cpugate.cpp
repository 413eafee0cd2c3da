#include "common/cpugate.h"

#include <QThread>

#include <algorithm>

CpuGate::CpuGate(int places)
    : m_free(std::max(1, places))
{}

CpuGate &CpuGate::shared()
{
    static CpuGate gate(QThread::idealThreadCount() - 1);
    return gate;
}

CpuGate::Pass::Pass(CpuGate &gate)
    : m_gate(gate)
{
    std::unique_lock lock(m_gate.m_mutex);
    m_gate.m_freed.wait(lock, [this] { return m_gate.m_free > 0; });
    --m_gate.m_free;
}

CpuGate::Pass::~Pass()
{
    {
        const std::lock_guard lock(m_gate.m_mutex);
        ++m_gate.m_free;
    }
    m_gate.m_freed.notify_one();
}
