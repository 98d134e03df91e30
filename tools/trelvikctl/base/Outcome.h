// How a command ends: what the shell gets, and what a person is told. Plain data.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <utility>

#include "base/Node.h"

namespace ctl {

enum class Exit : uint8_t {
  done = 0,
  failed = 1,    ///< refused, by ISS or on the way to it, or failed here
  usage = 2,     ///< the command line is wrong
  noDaemon = 3,  ///< no bus, or nobody on it
  unknown = 4,   ///< no answer by design or in time, or an answer that does not tell
};

/// The word for it in JSON.
constexpr const char* exitName(Exit status) {
  switch (status) {
    case Exit::done:
      return "done";
    case Exit::failed:
      return "failed";
    case Exit::usage:
      return "usage";
    case Exit::noDaemon:
      return "noDaemon";
    case Exit::unknown:
      return "unknown";
  }
  return "";
}

struct Outcome {
  Exit status = Exit::done;
  std::string message = {};  ///< one line; may be empty for a success
  Node data = Node::object();
  std::optional<std::string> text = {};  ///< for people, in place of the data; lines with their ends
};

inline Outcome failed(std::string message) {
  return {Exit::failed, std::move(message)};
}
inline Outcome usage(std::string message) {
  return {Exit::usage, std::move(message)};
}

}  // namespace ctl
