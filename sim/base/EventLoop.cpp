#include "base/EventLoop.h"

#include <algorithm>
#include <climits>
#include <utility>
#include <vector>

namespace sim {

void EventLoop::watch(int fd, Wanted wanted, Ready ready) {
  m_watched[++m_last] = {fd, std::move(wanted), std::move(ready)};
}

void EventLoop::watch(int fd, short events, Ready ready) {
  watch(
      fd, [events] { return Interest{events}; }, std::move(ready));
}

void EventLoop::forget(int fd) {
  std::erase_if(m_watched, [fd](const auto& entry) { return entry.second.fd == fd; });
}

void EventLoop::run(int stopFd) {
  m_stopped = false;
  while (!m_stopped && turn(stopFd, true) != Turn::stopped) {
  }
}

EventLoop::Turn EventLoop::turn(int stopFd, bool wait) {
  struct Asked {
    uint64_t number;
    Clock::time_point due;
  };
  std::vector<pollfd> fds{{stopFd, POLLIN, 0}};
  std::vector<Asked> asked;
  Clock::time_point due = m_timers.next();
  for (const auto& [number, watched] : m_watched) {
    const Interest interest = watched.wanted();
    fds.push_back({interest.events ? watched.fd : -1, interest.events.value_or(0), 0});
    asked.push_back({number, interest.due});
    due = std::min(due, interest.due);
  }

  const int ready = poll(fds.data(), fds.size(), wait ? timeout(due) : 0);
  if (ready > 0 && fds[0].revents != 0) return Turn::stopped;
  const Clock::time_point now = Clock::now();
  for (size_t i = 0; i < asked.size(); ++i) {
    const short events = ready > 0 ? fds[i + 1].revents : short{0};
    if (events == 0 && asked[i].due > now) continue;
    const auto found = m_watched.find(asked[i].number);
    if (found == m_watched.end()) continue;
    // A copy: the call may forget itself.
    const Ready call = found->second.ready;
    call(events);
  }
  m_timers.run(Clock::now());
  return ready > 0 ? Turn::busy : Turn::idle;
}

/// For poll: milliseconds, rounded up.
int EventLoop::timeout(Clock::time_point due) const {
  if (due == Clock::time_point::max()) return -1;
  const auto left = std::chrono::ceil<std::chrono::milliseconds>(due - Clock::now()).count();
  return static_cast<int>(std::clamp<long long>(left, 0, INT_MAX));
}

}  // namespace sim
