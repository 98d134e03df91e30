// Notices that a handler of the bus thread does not come back, and has a thread of its own for what must go
// on meanwhile.
//
// Handlers that come back cost it no wake-up: while they follow each other, the bus thread moves the timer on
// before it runs out.
#pragma once

#include <pthread.h>

#include <atomic>
#include <cstdint>

namespace otnbus {

class Deputy {
 public:
  Deputy();
  /// After stop().
  ~Deputy();
  Deputy(const Deputy&) = delete;
  Deputy& operator=(const Deputy&) = delete;

  /// `standIn` is called on the deputy's thread when a handler blocks, and returns when needed() is false.
  /// False when the thread cannot be made.
  bool start(void (*standIn)(void*), void* argument);
  /// Bus thread only, without any lock; waits for the deputy's end.
  void stop();

  // Around every handler, on the bus thread.
  void handlerStarts();
  void handlerEnds();

  /// Whether a handler blocks. For the deputy's thread: while it holds the bus's lock after a true, the bus
  /// thread looks at what it has queued before it waits again.
  bool needed() const;
  /// To wait for beside the bus: readable, until the tick is taken, when needed() may have become false.
  int descriptor() const { return m_timer; }
  void takeTick();

 private:
  static void* run(void* self);
  void serve();
  void fireAt(int64_t moment);

  const int m_timer;  ///< a timerfd; the bus thread sets it, the deputy reads it
  void (*m_standIn)(void*) = nullptr;
  void* m_argument = nullptr;
  pthread_t m_thread{};
  bool m_started = false;
  int64_t m_due = 0;                ///< ns; when the timer runs out. Of the bus thread
  std::atomic<int64_t> m_since{0};  ///< ns; start of the handler that runs, 0 while none does
  std::atomic<bool> m_standing{false};
  std::atomic<bool> m_stopping{false};
};

}  // namespace otnbus
