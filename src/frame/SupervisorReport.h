// Tells the supervisor the daemon's status: at each change of the link to ISS, and every 30 s. Without a
// supervisor it neither tells nor wakes anybody. Main thread.
#pragma once

#include <chrono>

class SupervisorReport {
 public:
  using Clock = std::chrono::steady_clock;
  using Time = Clock::time_point;

  static constexpr Clock::duration interval = std::chrono::seconds(30);

  /// After each pass of the loop.
  void look(Time now, bool linkChanged);
  /// When to look again at the latest.
  Time lookAgain() const { return m_next; }

 private:
  Time m_next = Time::max();
  bool m_begun = false;
};
