// Whoever wants to know what passes between the simulator and its client: the live view, the counters, the
// capture. All calls come on the simulator's one poll-loop thread; an observer never blocks and never calls
// back into the server.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <span>

#include "OtnIpcMsg.h"

namespace sim {

/// Seen from ISS: `in` comes from the client, `out` goes to it.
enum class Direction : uint8_t { in, out };

struct Observer {
  virtual ~Observer() = default;

  /// A whole record: read from the client, or handed over for sending (before a fault changes its bytes).
  virtual void onRecord(Direction direction, const OtnIpcMsg& record,
                        std::chrono::steady_clock::time_point when) = 0;

  /// Bytes as they pass on the connection, whatever they are.
  virtual void onBytes(Direction /*direction*/, std::span<const std::byte> /*bytes*/,
                       std::chrono::steady_clock::time_point /*when*/) {}

  /// The connection ends: `in` when the client or the way to it ended it, `out` when the simulator did. Comes
  /// before onClient(false).
  virtual void onEnd(Direction /*by*/, bool /*reset*/, std::chrono::steady_clock::time_point /*when*/) {}

  /// A client came or went.
  virtual void onClient(bool /*connected*/, std::chrono::steady_clock::time_point /*when*/) {}
};

}  // namespace sim
