// The TCP connection to OPS, ISS's IPC endpoint on this board. Carries whole OPS messages.
//
// The main thread connects, receives and closes; the sender thread sends, and the main thread once for the
// default script, both with the ring's mutex held. The main thread clears issReady under that mutex before
// it closes, so nobody sends on a closed descriptor. No lock is taken here.
#pragma once

#include <netinet/in.h>
#include <sys/types.h>

#include <chrono>
#include <cstddef>
#include <cstdint>

class IssSocket {
 public:
  /// 0 when connected, 1 on any failure, which is logged. A stop of the process breaks the attempt off.
  int StartTcpClient();
  int getFd(int& descriptor) const;
  /// One write, split only so that a stop can break it off. Returns what write() would.
  ssize_t sentPacket(const void* buffer, size_t length);
  /// One read: whatever the stream holds, up to `length`.
  ssize_t getPacket(void* buffer, size_t length);
  int close();
  /// A send that takes this long is given up with ETIMEDOUT, and the connection is shut down, so that nobody
  /// takes the rest of a record for the next one; 0 = none. Before any thread sends.
  void limitSends(std::chrono::seconds limit) { m_sendLimit = limit; }

 private:
  int32_t fd = -1;
  sockaddr_in addr{};
  std::chrono::seconds m_sendLimit{};
};

extern IssSocket opsSocket;
