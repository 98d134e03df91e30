// Lines that the main thread logs as `main`.
#pragma once

#include <string>

#include "support/RingTest.h"

inline std::string mainLine(const std::string& level, int number, const std::string& text) {
  return logged(level, "main", number, "main", text);
}

/// Whatever its number.
inline std::string mainLine(const std::string& level, const std::string& text) {
  return loggedAnywhere(level, "main", "main", text);
}
