// Who is at the other end of a connection on this machine. Stateless; any thread.
#pragma once

#include <sys/types.h>

#include <optional>

namespace sim {

/// The user of a Unix socket's other end.
std::optional<uid_t> socketUser(int fd);

/// The user of a TCP connection's other end, which is on this machine; nothing when that end is closed.
std::optional<uid_t> tcpUser(int fd);

/// The simulator serves its own user and root.
bool mayUse(uid_t user);

}  // namespace sim
