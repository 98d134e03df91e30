// A whole file. Stateless; any thread.
#pragma once

#include <cstddef>
#include <string>

#include "base/Problem.h"

namespace sim {

/// Reads a regular file of at most `limit` bytes; the problem begins with the path.
Problem readFile(const std::string& path, size_t limit, std::string& content);

}  // namespace sim
