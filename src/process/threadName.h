// Names of the daemon's threads, as `top -H`, a debugger and a core file show them. The main thread keeps the
// program's name, by which the process is found.
#pragma once

#include <pthread.h>

/// For the calling thread; 15 characters at most.
inline void nameThread(const char* name) {
  pthread_setname_np(pthread_self(), name);
}
