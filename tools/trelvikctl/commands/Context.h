// What the global options say, and the command that was chosen. One owner, one thread.
#pragma once

#include <chrono>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "base/Outcome.h"
#include "base/Output.h"

namespace ctl {

struct Context {
  Output output;
  bool dryRun = false;
  bool force = false;
  std::optional<std::chrono::milliseconds> timeout;
  std::vector<std::string> faults;                             ///< what --force sends all the same
  std::function<Outcome(Context&)> command;                    ///< empty until one was parsed
  std::map<const void*, std::vector<std::string>> candidates;  ///< of an option, for completion

  std::chrono::milliseconds timeoutOr(std::chrono::milliseconds usual) const {
    return timeout.value_or(usual);
  }
};

inline constexpr std::chrono::seconds usualTimeout{30};

}  // namespace ctl
