// The bare exchange of records with OPS, which every request comes down to. Blocking, as wire.h is.
#pragma once

#include <arpa/inet.h>
#include <netinet/in.h>

#include "OtnIpcMsg.h"
#include "wire.h"

namespace wire {

inline sockaddr_in opsAddress() {
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_port = htons(8000);
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  return address;
}

inline int connectToOps() {
  const sockaddr_in peer = opsAddress();
  const int fd = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  if (connect(fd, reinterpret_cast<const sockaddr*>(&peer), sizeof peer) != 0) fail("OPS");
  return fd;
}

/// Sends the record and takes the answer into it.
inline void exchange(int ops, OtnIpcMsg& record) {
  writeAll(ops, &record, sizeof record);
  readAll(ops, &record, sizeof record);
}

}  // namespace wire
