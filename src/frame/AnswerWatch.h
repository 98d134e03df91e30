// What is to be done about the message that is with ISS: when an operator hears of it, and when it is given
// up. Decisions only: the ring's state and the time are arguments, the effects are OutstandingAnswer's. Main
// thread.
#pragma once

#include <chrono>
#include <optional>

class AnswerWatch {
 public:
  using Clock = std::chrono::steady_clock;
  using Time = Clock::time_point;
  using Duration = Clock::duration;

  static constexpr Duration firstWarning = std::chrono::seconds(60);
  static constexpr Duration warningInterval = std::chrono::minutes(10);
  /// How soon a ring that another thread holds is looked at again.
  static constexpr std::chrono::milliseconds busyInterval{200};

  enum class Verdict {
    Quiet,
    TellWaiting,        ///< no answer for a minute, or again ten minutes later
    TellAnswered,       ///< the message that was told of has its answer
    GiveUpLate,         ///< the limit has passed; a late answer may still come on this connection
    GiveUpLateOffline,  ///< the limit has passed; the connection that it was sent on is gone
    GiveUpLost,         ///< the connection was lost before the answer, and ISS is ready again
    TellBlocked,        ///< the ring is held for a minute, or again ten minutes later: ISS does not read
    TellUnblocked,
  };

  /// The ring, as its mutex shows it. A message's time of sending tells it from every other.
  struct Ring {
    bool outstanding;
    Time sentAt;
    bool issReady;
  };

  /// `limit` 0 = nothing is ever given up.
  explicit AnswerWatch(std::chrono::seconds limit) : m_limit(limit) {}

  /// To be asked again after each verdict's effect, until it is Quiet.
  Verdict look(Time now, const Ring& ring);
  /// Instead, when another thread holds the ring's mutex.
  Verdict busy(Time now);
  void connectionLost(const Ring& ring);

  /// When to look again at the latest.
  Time lookAgain() const { return m_lookAgain; }
  /// How long the message of the last verdict has waited, or the ring was held.
  std::chrono::seconds age(Time now) const;

 private:
  Verdict limitPassed(Time now, const Ring& ring);

  std::chrono::seconds m_limit;
  Time m_sentAt{};                  ///< of the message that is watched
  Time m_nextWarning{};             ///< about it
  bool m_told = false;              ///< of it
  std::optional<Time> m_lost;       ///< sending time of the message that was outstanding at the last loss
  std::optional<Time> m_busySince;  ///< no look has succeeded since
  Time m_nextBlocked{};
  bool m_blockedTold = false;
  Time m_lookAgain = Time::max();
};
