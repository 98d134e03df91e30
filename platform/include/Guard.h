// A mutex that the compiler knows as one, and its scoped lock.
#pragma once

#include <pthread.h>

#include "ThreadSafety.h"

/// For a condition's wait, `native` is the mutex.
struct CAPABILITY("mutex") Mutex {
  pthread_mutex_t native = PTHREAD_MUTEX_INITIALIZER;
};

/// Holds a mutex that outlives it.
class SCOPED_CAPABILITY Guard {
 public:
  explicit Guard(Mutex* lock) ACQUIRE(lock) : m_mutex(lock) { pthread_mutex_lock(&m_mutex->native); }
  ~Guard() RELEASE() { pthread_mutex_unlock(&m_mutex->native); }
  Guard(const Guard&) = delete;
  Guard& operator=(const Guard&) = delete;

 private:
  Mutex* m_mutex;
};
