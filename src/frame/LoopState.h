// What the receive loop decides about its waits: how long the next one may take, and what the last one turned
// out to be. Decisions only: the time is an argument, the effects are ReceiveLoop's. Main thread.
#pragma once

#include <chrono>

/// What a pass of the loop is for.
enum class Pass {
  Connect,      ///< the time-out while there is no connection to OPS
  Kick,         ///< the time-out while there is one: nothing came, both activities are kicked
  Interrupted,  ///< by a signal, or the wait failed
  Input,
  Reminder,  ///< the time given with the wait has come; the documented time-out goes on
};

/// One time-out for all waits. It runs down by the time spent inside them, never by handling what came, and
/// is set anew only by what the members say.
class LoopState {
 public:
  using Clock = std::chrono::steady_clock;
  using Time = Clock::time_point;
  using Duration = Clock::duration;

  static constexpr Duration connectedTimeout = std::chrono::seconds(30);
  static constexpr Duration retryTimeout = std::chrono::seconds(5);

  /// How long the wait that begins now may take: never beyond `reminder`, which may have passed already.
  Duration waitBegins(Time now, Time reminder = Time::max());
  /// `ready` is what poll() returned. A time-out while connected and an interruption set 30 s.
  Pass waitEnds(Time now, int ready);

  /// Sets 30 s.
  void connected();
  /// Sets 5 s.
  void connectFailed() { m_timeLeft = retryTimeout; }
  /// Sets 5 s.
  void connectionLost();

  bool isConnected() const { return m_connected; }
  Duration timeLeft() const { return m_timeLeft; }

 private:
  bool m_connected = false;
  bool m_reminds = false;  ///< the wait ends for the reminder, before the time-out
  Time m_waitBegan{};
  Duration m_timeLeft{};  ///< none at first: the first pass tries to connect at once
};
