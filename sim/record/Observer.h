// The interface of everything that watches what passes between the simulator and its client: the live view,
// the counters, the capture. All calls come on the simulator's one poll-loop thread; an observer never blocks
// and never calls back into the server.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>

#include "OtnIpcMsg.h"

namespace sim {

/// Seen from ISS: `in` comes from the client, `out` goes to it.
enum class Direction : uint8_t { in, out };

/// What left for the client, or was meant to and did not. What it points to is valid during the call.
struct Sent {
  const OtnIpcMsg* record;      ///< as it went out; null = bytes that are no record
  size_t bytes;                 ///< that the kernel took of each; 0 = it did not leave
  uint32_t count = 1;           ///< so many in a row
  std::string_view how = {};    ///< what is particular about it; empty = nothing
  std::string_view rules = {};  ///< the rules of faults and answers that applied to it; empty = none
};

struct Observer {
  virtual ~Observer() = default;

  /// A whole record was read from the client.
  virtual void onReceived(const OtnIpcMsg& /*record*/, std::chrono::steady_clock::time_point /*when*/) {}

  /// The kernel has taken the last byte, or it is certain that it never will.
  virtual void onSent(const Sent& /*sent*/, std::chrono::steady_clock::time_point /*when*/) {}

  /// Bytes as they pass on the connection, whatever they are; behind the calls for the messages that they
  /// end.
  virtual void onBytes(Direction /*direction*/, std::span<const std::byte> /*bytes*/,
                       std::chrono::steady_clock::time_point /*when*/) {}

  /// The connection ends: `in` when the client or the way to it ended it, `out` when the simulator did. Comes
  /// before onClient(false).
  virtual void onEnd(Direction /*by*/, bool /*reset*/, std::chrono::steady_clock::time_point /*when*/) {}

  /// A client came or went.
  virtual void onClient(bool /*connected*/, std::chrono::steady_clock::time_point /*when*/) {}
};

}  // namespace sim
