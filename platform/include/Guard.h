// A mutex that the compiler knows as one, and the scoped lock of every mutex.
#pragma once

#include <pthread.h>

#include <chrono>
#include <ctime>

#include "ThreadSafety.h"

/// For a condition's wait, `native` is the mutex.
struct CAPABILITY("mutex") Mutex {
  void lock() ACQUIRE() { pthread_mutex_lock(&native); }
  bool tryLock() TRY_ACQUIRE(true) { return pthread_mutex_trylock(&native) == 0; }
  /// False when others hold it for all of `limit`.
  bool tryLockFor(std::chrono::milliseconds limit) TRY_ACQUIRE(true) {
    if (tryLock()) return true;
    timespec until;
    clock_gettime(CLOCK_MONOTONIC, &until);
    const std::chrono::nanoseconds end = std::chrono::nanoseconds(until.tv_nsec) + limit;
    until.tv_sec += static_cast<time_t>(end / std::chrono::seconds(1));
    until.tv_nsec = static_cast<long>((end % std::chrono::seconds(1)).count());
    return pthread_mutex_clocklock(&native, CLOCK_MONOTONIC, &until) == 0;
  }
  void unlock() RELEASE() { pthread_mutex_unlock(&native); }

  pthread_mutex_t native = PTHREAD_MUTEX_INITIALIZER;
};

/// Holds a mutex that outlives it: `const Guard guard(&mutex);`.
template <class Lock>
class SCOPED_CAPABILITY Guard {
 public:
  explicit Guard(Lock* lock) ACQUIRE(lock) : m_lock(lock) { m_lock->lock(); }
  ~Guard() RELEASE() { m_lock->unlock(); }
  Guard(const Guard&) = delete;
  Guard& operator=(const Guard&) = delete;

 private:
  Lock* m_lock;
};
