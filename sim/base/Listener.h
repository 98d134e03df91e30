// The TCP port on the loopback on which clients connect. Stateless.
#pragma once

#include <cstdint>
#include <string>

namespace sim {

/// Opens 127.0.0.1:port (0 = any free one) and tells the port that it is; -1 with errno set on failure. The
/// descriptor is the caller's and does not block.
int openListener(uint16_t port, uint16_t& actual);

/// One line of reason for a failure of openListener with this errno.
std::string listenProblem(uint16_t port, int error);

/// Takes a client's connection, which does not block; -1 when there is none. A connection of another user is
/// closed at once; `refused` then says so.
int acceptClient(int listenFd, std::string& refused);

}  // namespace sim
