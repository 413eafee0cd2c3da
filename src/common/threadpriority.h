// Scheduling priority of the calling thread: the threads that feed the screen step back for the
// thread that draws it.
// Any thread; affects only the calling thread (and threads it starts later, which inherit it).
#pragma once

// Sets the calling thread's nice value (0 normal, 19 lowest). Does nothing where threads cannot be
// given a priority of their own.
void setThisThreadNice(int nice);
