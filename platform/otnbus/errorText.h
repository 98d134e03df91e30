// An error number of sd-bus in words, its sign being of no matter. Any thread.
#pragma once

#include <cstring>
#include <string>

namespace otnbus {

inline std::string errorText(int error) {
  char text[128];
  return strerror_r(error < 0 ? -error : error, text, sizeof text);
}

}  // namespace otnbus
