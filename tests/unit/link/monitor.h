// The critical activity monitor for tests: what is asked of it, and what it answers. Linked with --wrap for
// open and ioctl.
#pragma once

#include <string>
#include <vector>

struct Monitor {
  static inline bool present = false;  ///< whether there is the device
  static inline bool refuses = false;
  static inline std::vector<std::string> requests;  ///< number in hex, and its text or number
};
