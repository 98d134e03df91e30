#include "base/Listener.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "base/PeerUser.h"

namespace sim {

int openListener(uint16_t port, uint16_t& actual) {
  const int fd = ::socket(AF_INET, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
  if (fd < 0) return -1;
  const int one = 1;
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_port = htons(port);
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  socklen_t length = sizeof address;
  if (setsockopt(fd, SOL_SOCKET, SO_REUSEADDR, &one, sizeof one) != 0 ||
      bind(fd, reinterpret_cast<sockaddr*>(&address), length) != 0 || ::listen(fd, 4) != 0 ||
      getsockname(fd, reinterpret_cast<sockaddr*>(&address), &length) != 0) {
    const int error = errno;
    ::close(fd);
    errno = error;
    return -1;
  }
  actual = ntohs(address.sin_port);
  return fd;
}

std::string listenProblem(uint16_t port, int error) {
  return "127.0.0.1:" + std::to_string(port) + ": " +
         (error == EADDRINUSE ? "in use, is another instance running?" : strerror(error));
}

int acceptClient(int listenFd, std::string& refused) {
  const int fd = accept4(listenFd, nullptr, nullptr, SOCK_NONBLOCK | SOCK_CLOEXEC);
  if (fd < 0) return fd;
  const std::optional<uid_t> user = tcpUser(fd);
  if (!user || !mayUse(*user)) {
    refused =
        user ? "it is user " + std::to_string(*user) + "'s" : "it has gone, or its user cannot be found";
    ::close(fd);
    return -1;
  }
  const int one = 1;
  setsockopt(fd, IPPROTO_TCP, TCP_NODELAY, &one, sizeof one);
  return fd;
}

}  // namespace sim
