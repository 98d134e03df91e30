// What the simulator does later: functions by the time they are due, run by its poll loop. One thread.
#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace sim {

using Clock = std::chrono::steady_clock;

/// What `iss-sim show schedule` shows of a timer; one without a text is not shown.
struct TimerNote {
  std::string text = {};
  uint32_t left = 1;       ///< occasions, this one included; UINT32_MAX = without end
  bool scheduled = false;  ///< by a directive: goes with the schedule
};

class TimerQueue {
 public:
  /// What the timer belongs to: when that ends, the timer is removed.
  enum class Scope : uint8_t { simulator, connection };

  struct Waiting {
    Clock::time_point due;
    const TimerNote& note;
  };

  void at(Clock::time_point due, Scope scope, std::function<void()> action, TimerNote note = {}) {
    m_timers.emplace(due, Timer{scope, std::move(action), std::move(note)});
  }

  void after(Clock::duration delay, Scope scope, std::function<void()> action, TimerNote note = {}) {
    at(Clock::now() + delay, scope, std::move(action), std::move(note));
  }

  void cancel(Scope scope) {
    cancelIf([scope](const Timer& timer) { return timer.scope == scope; });
  }
  /// Removes the timers of the simulator's own that have this text.
  void cancel(std::string_view text) {
    cancelIf([text](const Timer& timer) { return !timer.note.scheduled && timer.note.text == text; });
  }
  void cancelScheduled() {
    cancelIf([](const Timer& timer) { return timer.note.scheduled; });
  }

  bool empty() const { return m_timers.empty(); }
  size_t size() const { return m_timers.size() + m_running.size(); }

  /// The timers with a text, the next one first; valid until a timer is added or removed.
  std::vector<Waiting> waiting() const {
    std::vector<Waiting> result;
    for (const auto* timers : {&m_running, &m_timers}) {
      for (const auto& [due, timer] : *timers) {
        if (!timer.note.text.empty()) result.push_back({due, timer.note});
      }
    }
    return result;
  }

  /// When to call run next; time_point::max() when there is nothing to do.
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
    TimerNote note;
  };

  template <typename Condition>
  void cancelIf(Condition condition) {
    const auto applies = [condition](const auto& entry) { return condition(entry.second); };
    std::erase_if(m_timers, applies);
    std::erase_if(m_running, applies);
  }

  std::multimap<Clock::time_point, Timer> m_timers;
  std::multimap<Clock::time_point, Timer> m_running;
};

}  // namespace sim
