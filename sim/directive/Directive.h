// One line of a scenario, understood: what to do, and when. Plain data.
#pragma once

#include <chrono>
#include <cstdint>
#include <string>
#include <variant>
#include <vector>

#include "directive/Fault.h"

namespace sim {

/// One of the messages with which ISS greets a client, after a time.
struct StartupStep {
  std::chrono::milliseconds wait;
  RecordTemplate record;
};

namespace directive {
struct Startup {
  std::vector<StartupStep> steps;
};
struct KeepAlive {
  std::chrono::milliseconds period;  ///< 0 = none
};
/// A message of ISS's own; faults apply to it.
struct Own {
  RecordTemplate record;
};
/// Records that go out just as they stand, each in a write of its own.
struct Send {
  RecordTemplate record;
  uint32_t count;
};
struct Raw {
  std::string bytes;
};
struct Garbage {
  uint32_t size;
};
enum class PortChange : uint8_t { up, down, toggle };
struct Port {
  uint32_t ports;  ///< bitmap
  PortChange change;
};
struct Close {
  bool reset;
};
/// ISS ends, with all that it knew, and comes back after a time.
struct Restart {
  std::chrono::milliseconds away;
};
/// ISS neither reads nor writes for a time.
struct Stall {
  std::chrono::milliseconds time;
};
struct Seed {
  uint32_t value;
};
enum class Clear : uint8_t { faults, answers, schedule, all };
using Action = std::variant<Startup, KeepAlive, Own, Send, Raw, Garbage, Port, Close, Restart, Stall, Seed,
                            Clear, FaultRule>;

/// When: prefixes of the line, from the left.
/// Which of the occasions of a kind count.
struct Occasions {
  uint32_t skip = 0;  ///< the first ones
  uint32_t times = UINT32_MAX;
};
struct OnConnect {
  Occasions which;
};
struct OnRequest {
  uint32_t type;
  Occasions which;
};
struct After {
  std::chrono::milliseconds time;
};
struct Every {
  std::chrono::milliseconds period;
  uint32_t times;  ///< UINT32_MAX = without end
};
using When = std::variant<OnConnect, OnRequest, After, Every>;
}  // namespace directive

struct Directive {
  std::vector<directive::When> when;
  directive::Action action;
  std::vector<std::string> texts;  ///< the line from each condition on, and the action's, as written
};

}  // namespace sim
