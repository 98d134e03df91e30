// The simulator's command line. Start-up only.
#pragma once

#include "OpsServer.h"

namespace sim {

enum class CommandLine : uint8_t { run, help, wrong };

/// Fills options from the command line; what is wrong with it goes to standard error.
CommandLine parseCommandLine(int argc, char* const* argv, ServerOptions& options);

extern const char* const usage;

}  // namespace sim
