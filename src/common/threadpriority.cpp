#include "common/threadpriority.h"

#include <QtGlobal>

#if defined(Q_OS_LINUX)
#include <sys/resource.h>
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
