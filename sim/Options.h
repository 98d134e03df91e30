// The simulator's command line. Start-up only.
#pragma once

#include <string>

#include "OpsServer.h"

namespace sim {

enum class CommandLine : uint8_t { run, help, wrong };

struct Options {
  ServerOptions server;
  std::string scenario;  ///< path; empty = none
  std::string record;    ///< path; empty = none
};

/// Fills options from the command line; what is wrong with it goes to standard error.
CommandLine parseCommandLine(int argc, char* const* argv, Options& options);

extern const char* const usage;

}  // namespace sim
