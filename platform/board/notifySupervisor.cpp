#include "notifySupervisor.h"

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <string>
#include <string_view>

namespace otn {

namespace {

/// The path that systemd gives, or nothing that can be used. An '@' stands for the NUL of an abstract
/// address.
std::string_view socketPath() {
  const char* const given = getenv("NOTIFY_SOCKET");
  const std::string_view path = given != nullptr ? given : "";
  const bool usable = path.size() > 1 && (path[0] == '/' || path[0] == '@');
  return usable && path.size() < sizeof sockaddr_un::sun_path ? path : std::string_view();
}

}  // namespace

bool hasSupervisor() {
  return !socketPath().empty();
}

// Not sd_notify(), which waits when the supervisor does not read.
void notifySupervisor(const char* status) {
  const std::string_view path = socketPath();
  if (path.empty()) return;
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  memcpy(address.sun_path, path.data(), path.size());
  if (path[0] == '@') address.sun_path[0] = '\0';
  const auto length = static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + path.size());
  const int fd = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
  if (fd < 0) return;
  const std::string message = std::string("STATUS=") + status;
  sendto(fd, message.data(), message.size(), MSG_NOSIGNAL, reinterpret_cast<const sockaddr*>(&address),
         length);
  close(fd);
}

}  // namespace otn
