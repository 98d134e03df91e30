// Attributes of the bus thread, the sender thread and the service workers.
#pragma once

#include <pthread.h>

#include <cstddef>

inline constexpr size_t workerStackSize = 131072;  ///< bytes

/// Initialises `attr` with the common stack size. False, after an ERROR line, when the system refuses; there
/// is nothing to destroy then, and the thread is to be started with default attributes.
bool init_pthread_attr(pthread_attr_t* attr);

/// The common attributes, destroyed when they go out of scope.
class ThreadAttributes {
 public:
  ThreadAttributes() : m_good(init_pthread_attr(&m_attr)) {}
  ~ThreadAttributes() {
    if (m_good) pthread_attr_destroy(&m_attr);
  }
  ThreadAttributes(const ThreadAttributes&) = delete;
  ThreadAttributes& operator=(const ThreadAttributes&) = delete;

  /// For pthread_create: null, which means default attributes, when the system refused.
  const pthread_attr_t* get() const { return m_good ? &m_attr : nullptr; }

 private:
  pthread_attr_t m_attr;
  bool m_good;
};
