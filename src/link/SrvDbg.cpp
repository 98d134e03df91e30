#include "link/SrvDbg.h"

#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "TraceObject.h"

namespace {

constexpr LogPlace atStartUdpServer{"SrvDbg", "StartUdpServer"};

constexpr char serverPath[] = "/tmp/socket-server";
constexpr char clientPath[] = "/tmp/socket-client";

template <size_t N>
void setPath(sockaddr_un& address, const char (&path)[N]) {
  static_assert(N <= sizeof address.sun_path);
  address.sun_family = AF_UNIX;
  memcpy(address.sun_path, path, N);
}

}  // namespace

SrvDbg::~SrvDbg() {
  if (fd >= 0) close(fd);
}

int SrvDbg::StartUdpServer() {
  fd = socket(AF_UNIX, SOCK_DGRAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
  if (fd < 0) {
    LOG(WARNING, atStartUdpServer, 33, "opening debug socket() failed\n");
    return 1;
  }
  setPath(serverAddr, serverPath);
  setPath(clientAddr, clientPath);
  const int stays = unlink(serverPath) != 0 && errno != ENOENT ? errno : 0;
  if (bind(fd, reinterpret_cast<const sockaddr*>(&serverAddr), sizeof serverAddr) != 0) {
    // Why what stands at the path could not be removed says more than that the path is in use.
    const int error = stays != 0 ? stays : errno;
    LOG(WARNING, atStartUdpServer, 43, "Debug socket binding failed\n");
    LOG(WARNING, atStartUdpServer, HERE,
        "No debug socket at %s (%s): remove what stands there and start the daemon again\n", serverPath,
        strerror(error));
    return 1;
  }
  LOG(INFO, atStartUdpServer, 50, "Debug socket up [fd=%d]\n", fd);
  return 0;
}

ssize_t SrvDbg::recvRequest(void* buffer, size_t length) {
  return recvfrom(fd, buffer, length, MSG_TRUNC, nullptr, nullptr);
}

ssize_t SrvDbg::sendReply(const void* buffer, size_t length) {
  return sendto(fd, buffer, length, 0, reinterpret_cast<const sockaddr*>(&clientAddr), sizeof clientAddr);
}
