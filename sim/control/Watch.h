// What passes between the simulator and its client, as it passes: how long each answer took, counts by
// message type, and one decoded line a message for watchers. One owner, the poll-loop thread.
#pragma once

#include <chrono>
#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <optional>
#include <string>

#include "record/Observer.h"

namespace sim {

/// What passed, or was meant to. `latency` is for an answer that left: the time from the arrival of its
/// request to the answer's last byte.
struct Passed {
  Direction direction;
  Sent what;
  std::optional<std::chrono::microseconds> latency = {};
};

/// "HH:MM:SS.mmm <- RECORD" for what ISS gets, "-> RECORD" for what it says, and what is particular about it
/// and an answer's latency behind it.
std::string watchLine(const Passed& passed);

/// The same as a JSON object on one line: time, direction ("in", "out"), type, name, latencyMs, how, bytes,
/// count, fields.
std::string watchJson(const Passed& passed);

struct MessageCount {
  uint64_t received = 0;
  uint64_t answered = 0;
  uint64_t refused = 0;  ///< of the answered: with an error
  uint64_t sent = 0;     ///< on ISS's own account
  uint64_t dropped = 0;  ///< answers and others that did not leave, or not whole
  uint64_t timed = 0;    ///< answers with a latency
  std::chrono::microseconds least{};
  std::chrono::microseconds most{};
  std::chrono::microseconds total{};
};

class Watch : public Observer {
 public:
  static constexpr size_t maxOutstanding = 64;  ///< requests whose answer is awaited; the oldest goes
  static constexpr size_t maxTypes = 64;        ///< further types of message are not counted

  void onReceived(const OtnIpcMsg& record, std::chrono::steady_clock::time_point when) override;
  void onSent(const Sent& sent, std::chrono::steady_clock::time_point when) override;
  void onClient(bool connected, std::chrono::steady_clock::time_point when) override;

  /// Called for every message; one listener.
  void setListener(std::function<void(const Passed&)> listener) { m_listener = std::move(listener); }

  const std::map<uint32_t, MessageCount>& counts() const { return m_counts; }

 private:
  struct Outstanding {
    uint32_t type;
    std::chrono::steady_clock::time_point since;
  };

  std::optional<std::chrono::microseconds> latencyOf(const OtnIpcMsg& answer,
                                                     std::chrono::steady_clock::time_point when);
  void pass(const Passed& passed);
  void count(const Passed& passed, const OtnIpcMsg& record);

  std::deque<Outstanding> m_outstanding;
  std::map<uint32_t, MessageCount> m_counts;
  std::function<void(const Passed&)> m_listener;
};

}  // namespace sim
