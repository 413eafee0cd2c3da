// Scheduling priority of the calling thread: the threads that feed the screen step back for the
// thread that draws it.
// Any thread; affects only the calling thread (and threads it starts later, which inherit a nice value).
#pragma once

// Sets the calling thread's nice value (0 normal, 19 lowest). Does nothing where threads cannot be
// given a priority of their own.
void setThisThreadNice(int nice);

// For the thread that draws: asks the scheduler for the shortest time slice, so that when the thread
// wakes it takes a core from a running thread at once, instead of after that thread's slice (up to
// a slice plus a timer tick, 4 to 7 ms on a busy machine). Threads started later keep the normal
// slice. Linux 6.12 and later; elsewhere, and on older kernels, nothing changes.
void setThisThreadLatencySensitive();
