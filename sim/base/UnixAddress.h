// Addresses of Unix sockets. Pure functions; any thread.
#pragma once

#include <sys/un.h>

#include <cstring>
#include <string>

namespace sim {

/// False when the path does not fit.
inline bool fillAddress(const std::string& path, sockaddr_un& address) {
  address = {};
  address.sun_family = AF_UNIX;
  if (path.empty() || path.size() >= sizeof address.sun_path) return false;
  memcpy(address.sun_path, path.data(), path.size());
  return true;
}

}  // namespace sim
