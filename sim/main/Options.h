// The command line of a simulator that serves. Start-up only.
#pragma once

#include <string>

#include "base/Problem.h"
#include "ops/OpsServer.h"

namespace sim {

struct Options {
  ServerOptions server;
  std::string scenario;  ///< path; empty = none
  std::string record;    ///< path; empty = none
  std::string control;   ///< path; empty = the default for the port
  bool help = false;
  bool version = false;
};

/// Fills options from the command line; what is wrong with it, if anything.
Problem parseCommandLine(int argc, char* const* argv, Options& options);

extern const char* const usage;

}  // namespace sim
