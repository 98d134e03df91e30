// Reads captures back: pcapng files of the simulator's own, of Wireshark or of tcpdump. Pure; any thread.
#pragma once

#include <chrono>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "base/Problem.h"
#include "directive/Fault.h"
#include "record/Observer.h"

namespace sim {

struct CapturedBytes {
  Direction direction;  ///< ISS's: `out` went to the client
  std::chrono::nanoseconds when;
  std::string bytes;
};

struct CapturedConnection {
  std::chrono::nanoseconds opened;
  std::vector<CapturedBytes> traffic;  ///< as it passed, writes of one packet each
  Ending endedByIss = Ending::none;    ///< none: the client ended it, or the capture did
  std::chrono::nanoseconds ended{};
};

/// Reads the connections to one server: the one that the first connection goes to. The problem names the
/// block that is wrong.
Problem readCapture(std::string_view file, std::vector<CapturedConnection>& connections);

}  // namespace sim
