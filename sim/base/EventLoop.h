// The one loop of iss-sim: waits for descriptors, and for what is due later. One thread.
#pragma once

#include <poll.h>

#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <optional>

#include "base/TimerQueue.h"

namespace sim {

class EventLoop {
 public:
  /// What is waited for at a descriptor.
  struct Interest {
    std::optional<short> events;                       ///< of poll; 0 = its end only, none = not even that
    Clock::time_point due = Clock::time_point::max();  ///< then it is called with no events
  };
  using Wanted = std::function<Interest()>;
  using Ready = std::function<void(short events)>;

  /// Calls `ready` when something of what `wanted` says has come; `wanted` is asked before each wait. Both
  /// may watch and forget. The descriptor stays the caller's, who forgets it before closing it.
  void watch(int fd, Wanted wanted, Ready ready);
  void watch(int fd, short events, Ready ready);
  void forget(int fd);

  TimerQueue& timers() { return m_timers; }
  const TimerQueue& timers() const { return m_timers; }

  /// Until stopFd (the caller's) is readable, or stop() was called from within.
  void run(int stopFd);
  void stop() { m_stopped = true; }

  /// Does what can be done without waiting. Whether there was anything.
  bool runReady() { return turn(-1, false) == Turn::busy; }

 private:
  enum class Turn : uint8_t { idle, busy, stopped };
  struct Watched {
    int fd;
    Wanted wanted;
    Ready ready;
  };

  Turn turn(int stopFd, bool wait);
  int timeout(Clock::time_point due) const;

  TimerQueue m_timers;
  std::map<uint64_t, Watched> m_watched;  ///< by order: a descriptor's number may come again at once
  uint64_t m_last = 0;
  bool m_stopped = false;
};

}  // namespace sim
