#include "common/allocator.h"

#include <malloc.h>

void tuneAllocatorForIndexLoads()
{
#if defined(__GLIBC__)
    mallopt(M_ARENA_MAX, 2);
    mallopt(M_MMAP_THRESHOLD, 256 * 1024);
#endif
}
