// The debug socket: a tool on the board hands over one OPS message per datagram and gets OPS's raw answer.
//
// Main thread only. The descriptor does not block, so a tool that does not read loses its answers and
// cannot hold the daemon. The tool must bind its own socket at the client path.
#pragma once

#include <sys/types.h>
#include <sys/un.h>

#include <cstddef>
#include <cstdint>

class SrvDbg {
 public:
  SrvDbg() = default;
  ~SrvDbg();
  SrvDbg(const SrvDbg&) = delete;
  SrvDbg& operator=(const SrvDbg&) = delete;

  /// 0 when bound, 1 on failure, which is logged.
  int StartUdpServer();
  void getFd(int& descriptor) const { descriptor = fd; }
  /// The datagram's own size, also when it is longer than the buffer and was cut.
  ssize_t recvRequest(void* buffer, size_t length);
  ssize_t sendReply(const void* buffer, size_t length);

 private:
  int32_t fd = -1;
  sockaddr_un serverAddr{};
  sockaddr_un clientAddr{};
};

static_assert(sizeof(sockaddr_un) == 110);
