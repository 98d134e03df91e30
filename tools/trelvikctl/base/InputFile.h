// A file that a command was given, as a whole. Stateless; any thread.
#pragma once

#include <cstddef>
#include <string>

#include "base/Outcome.h"

namespace ctl {

/// Reads a file, or standard input for "-", of at most so many MiB.
Outcome readInput(const std::string& path, size_t mostMib, std::string& bytes);

}  // namespace ctl
