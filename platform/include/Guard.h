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
    clock_gettime(limitClock, &until);
    const std::chrono::nanoseconds end = std::chrono::nanoseconds(until.tv_nsec) + limit;
    until.tv_sec += static_cast<time_t>(end / std::chrono::seconds(1));
    until.tv_nsec = static_cast<long>((end % std::chrono::seconds(1)).count());
#ifdef __SANITIZE_THREAD__
    return pthread_mutex_timedlock(&native, &until) == 0;
#else
    return pthread_mutex_clocklock(&native, limitClock, &until) == 0;
#endif
  }
  void unlock() RELEASE() {
    pthread_mutex_unlock(&native);
  }

  pthread_mutex_t native = PTHREAD_MUTEX_INITIALIZER;

 private:
#ifdef __SANITIZE_THREAD__
  /// The thread sanitizer of GCC 12 knows no other lock with a limit.
  static constexpr clockid_t limitClock = CLOCK_REALTIME;
#else
  static constexpr clockid_t limitClock = CLOCK_MONOTONIC;
#endif
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
