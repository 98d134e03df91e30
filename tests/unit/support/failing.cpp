#include "support/failing.h"

#include <unistd.h>

#include <utility>

namespace failing {

void Call::whenCalled(By who, std::function<int()> seen, int after) {
  const std::lock_guard guard(m_mutex);
  m_who = who;
  m_left = after;
  m_seen = std::move(seen);
}

bool Call::done() {
  const std::lock_guard guard(m_mutex);
  return !m_seen;
}

int Call::error() {
  std::function<int()> seen;
  {
    const std::lock_guard guard(m_mutex);
    if (!m_seen || (m_who == By::Test) != (gettid() == getpid()) || m_left-- > 0) return 0;
    seen = std::exchange(m_seen, nullptr);
  }
  return seen();
}

}  // namespace failing
