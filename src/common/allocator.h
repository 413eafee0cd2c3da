// Allocator settings for a process that loads many large indexes on many threads at once.
// Call first thing in main(), before any thread exists.
#pragma once

// glibc otherwise gives each thread its own heap and raises the size above which freed buffers go
// back to the system, so downloaded and decoded index buffers would stay resident after the load.
void tuneAllocatorForIndexLoads();
