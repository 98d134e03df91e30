#include "frame/AnswerWatch.h"

#include <algorithm>

AnswerWatch::Verdict AnswerWatch::look(Time now, const Ring& ring) {
  m_busySince.reset();
  if (m_blockedTold) {
    m_blockedTold = false;
    return Verdict::TellUnblocked;
  }
  if (m_told && (!ring.outstanding || ring.sentAt != m_sentAt)) {
    m_told = false;
    return Verdict::TellAnswered;
  }
  if (!ring.outstanding) {
    // What is sent from now on is not due before then, so the sender need not wake the main thread.
    m_lookAgain = now + (m_limit.count() != 0 ? std::min<Duration>(m_limit, firstWarning) : firstWarning);
    return Verdict::Quiet;
  }
  if (ring.sentAt != m_sentAt) {
    m_sentAt = ring.sentAt;
    m_nextWarning = ring.sentAt + firstWarning;
  }
  if (const Verdict verdict = limitPassed(now, ring); verdict != Verdict::Quiet) {
    m_told = false;
    return verdict;
  }
  if (now >= m_nextWarning) {
    m_nextWarning = now + warningInterval;
    m_told = true;
    return Verdict::TellWaiting;
  }
  m_lookAgain = m_limit.count() != 0 ? std::min(m_nextWarning, ring.sentAt + m_limit) : m_nextWarning;
  return Verdict::Quiet;
}

AnswerWatch::Verdict AnswerWatch::limitPassed(Time now, const Ring& ring) {
  if (m_limit.count() == 0) return Verdict::Quiet;
  const bool lost = m_lost == ring.sentAt;
  if (lost && ring.issReady) return Verdict::GiveUpLost;
  if (now < ring.sentAt + m_limit) return Verdict::Quiet;
  return lost ? Verdict::GiveUpLateOffline : Verdict::GiveUpLate;
}

AnswerWatch::Verdict AnswerWatch::busy(Time now) {
  m_lookAgain = now + busyInterval;
  if (!m_busySince) {
    m_busySince = now;
    m_nextBlocked = now + firstWarning;
  }
  if (now < m_nextBlocked) return Verdict::Quiet;
  m_nextBlocked = now + warningInterval;
  m_blockedTold = true;
  return Verdict::TellBlocked;
}

void AnswerWatch::connectionLost(const Ring& ring) {
  m_lost = ring.outstanding ? std::optional(ring.sentAt) : std::nullopt;
}

std::chrono::seconds AnswerWatch::age(Time now) const {
  return std::chrono::duration_cast<std::chrono::seconds>(now - m_busySince.value_or(m_sentAt));
}
