#include "common/threadpriority.h"

#include <QtGlobal>

#if defined(Q_OS_LINUX)
#include <cerrno>
#include <cstdint>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <unistd.h>
#endif

void setThisThreadNice(int nice)
{
#if defined(Q_OS_LINUX)
    // On Linux a nice value belongs to the thread, not the process.
    setpriority(PRIO_PROCESS, id_t(gettid()), nice);
#else
    Q_UNUSED(nice)
#endif
}

void setThisThreadLatencySensitive()
{
#if defined(Q_OS_LINUX) && defined(SYS_sched_setattr)
    // glibc has no wrapper for sched_setattr; this is the kernel's struct sched_attr.
    struct SchedAttr
    {
        uint32_t size = sizeof(SchedAttr);
        uint32_t policy = 0; // SCHED_OTHER
        uint64_t flags = 0;
        int32_t nice = 0;
        uint32_t priority = 0;
        uint64_t runtime = 0; // for SCHED_OTHER: the requested slice, in nanoseconds
        uint64_t deadline = 0;
        uint64_t period = 0;
    };
    constexpr uint64_t resetOnFork = 0x01;        // SCHED_FLAG_RESET_ON_FORK
    constexpr uint64_t shortestSliceNs = 100'000; // the kernel's lower bound

    errno = 0;
    const int nice = getpriority(PRIO_PROCESS, id_t(gettid()));
    if (errno != 0)
        return;
    SchedAttr attr;
    attr.flags = resetOnFork;
    attr.nice = nice; // keep whatever nice value the user started us with
    attr.runtime = shortestSliceNs;
    syscall(SYS_sched_setattr, 0, &attr, 0);
#endif
}
