#pragma once

#include <fstream>
#include <iterator>
#include <string>

/// What the file holds; nothing when it cannot be read.
inline std::string contents(const std::string& path) {
  std::ifstream file(path);
  return {std::istreambuf_iterator<char>(file), {}};
}
