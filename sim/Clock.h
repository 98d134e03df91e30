// What the simulator does later: functions by the time they are due, run by its poll loop. One thread.
#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <map>
#include <utility>

namespace sim {

using Clock = std::chrono::steady_clock;

class TimerQueue {
 public:
  /// Whose end takes a timer away.
  enum class Scope : uint8_t { simulator, connection };

  void at(Clock::time_point due, Scope scope, std::function<void()> action) {
    m_timers.emplace(due, Timer{scope, std::move(action)});
  }

  void after(Clock::duration delay, Scope scope, std::function<void()> action) {
    at(Clock::now() + delay, scope, std::move(action));
  }

  void cancel(Scope scope) {
    const auto ofScope = [scope](const auto& entry) { return entry.second.scope == scope; };
    std::erase_if(m_timers, ofScope);
    std::erase_if(m_running, ofScope);
  }

  bool empty() const { return m_timers.empty(); }

  /// When to call run next; the end of time when there is nothing to do.
  Clock::time_point next() const {
    return m_timers.empty() ? Clock::time_point::max() : m_timers.begin()->first;
  }

  /// Runs what is due, in order. An action may add and cancel timers; what it adds runs in a later call, so
  /// that a timer without delay cannot keep the loop.
  void run(Clock::time_point now) {
    while (!m_timers.empty() && m_timers.begin()->first <= now) {
      m_running.insert(m_timers.extract(m_timers.begin()));
    }
    while (!m_running.empty()) {
      const std::function<void()> action = std::move(m_running.begin()->second.action);
      m_running.erase(m_running.begin());
      action();
    }
  }

 private:
  struct Timer {
    Scope scope;
    std::function<void()> action;
  };

  std::multimap<Clock::time_point, Timer> m_timers;
  std::multimap<Clock::time_point, Timer> m_running;
};

}  // namespace sim
