#include "base/PeerUser.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cinttypes>
#include <cstdio>
#include <memory>

namespace sim {

std::optional<uid_t> socketUser(int fd) {
  ucred peer{};
  socklen_t length = sizeof peer;
  if (getsockopt(fd, SOL_SOCKET, SO_PEERCRED, &peer, &length) != 0) return {};
  return peer.uid;
}

std::optional<uid_t> tcpUser(int fd) {
  sockaddr_in own{};
  sockaddr_in peer{};
  socklen_t ownLength = sizeof own;
  socklen_t peerLength = sizeof peer;
  if (getsockname(fd, reinterpret_cast<sockaddr*>(&own), &ownLength) != 0 ||
      getpeername(fd, reinterpret_cast<sockaddr*>(&peer), &peerLength) != 0) {
    return {};
  }
  const std::unique_ptr<FILE, int (*)(FILE*)> table(fopen("/proc/net/tcp", "re"), fclose);
  if (!table) return {};
  char line[256];
  while (fgets(line, sizeof line, table.get()) != nullptr) {
    uint32_t fromAddress = 0;
    uint32_t fromPort = 0;
    uint32_t toAddress = 0;
    uint32_t toPort = 0;
    uint32_t user = 0;
    uint64_t inode = 0;
    // Addresses stand as they lie in memory, ports as numbers.
    if (sscanf(line,
               " %*d: %" SCNx32 ":%" SCNx32 " %" SCNx32 ":%" SCNx32 " %*x %*x:%*x %*x:%*x %*x %" SCNu32
               " %*u %" SCNu64,
               &fromAddress, &fromPort, &toAddress, &toPort, &user, &inode) != 6) {
      continue;
    }
    if (fromAddress != peer.sin_addr.s_addr || fromPort != ntohs(peer.sin_port) ||
        toAddress != own.sin_addr.s_addr || toPort != ntohs(own.sin_port)) {
      continue;
    }
    // Without an inode nobody has the socket any more, and the user is not told.
    if (inode == 0) return {};
    return user;
  }
  return {};
}

bool mayUse(uid_t user) {
  return user == geteuid() || user == 0;
}

}  // namespace sim
