#include "frame/LoopState.h"

#include <algorithm>

LoopState::Duration LoopState::waitBegins(Time now, Time reminder) {
  m_waitBegan = now;
  // Not by a difference to `now`: a reminder that never comes has none.
  m_reminds = reminder < now + m_timeLeft;
  return m_reminds ? std::max(reminder - now, Duration::zero()) : m_timeLeft;
}

Pass LoopState::waitEnds(Time now, int ready) {
  m_timeLeft = std::max(m_timeLeft - (now - m_waitBegan), Duration::zero());
  if (ready > 0) return Pass::Input;
  if (ready < 0) {
    m_timeLeft = connectedTimeout;
    return Pass::Interrupted;
  }
  if (m_reminds) return Pass::Reminder;
  if (!m_connected) return Pass::Connect;
  m_timeLeft = connectedTimeout;
  return Pass::Kick;
}

void LoopState::connected() {
  m_connected = true;
  m_timeLeft = connectedTimeout;
}

void LoopState::connectionLost() {
  m_connected = false;
  m_timeLeft = retryTimeout;
}
