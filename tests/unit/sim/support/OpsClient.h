// A client of OPS, for tests. One thread.
#pragma once

#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <string>

#include "sim/support/Record.h"

/// A client of OPS; every wait ends after 20 s.
class OpsClient {
 public:
  explicit OpsClient(uint16_t port) : m_fd(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
    const timeval limit{20, 0};
    setsockopt(m_fd, SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof limit);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    EXPECT_EQ(connect(m_fd, reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
  }
  ~OpsClient() { close(m_fd); }
  OpsClient(const OpsClient&) = delete;
  OpsClient& operator=(const OpsClient&) = delete;

  void sendBytes(const void* bytes, size_t size) {
    EXPECT_EQ(::send(m_fd, bytes, size, MSG_NOSIGNAL), static_cast<ssize_t>(size));
  }
  void send(const OtnIpcMsg& msg) { sendBytes(&msg, sizeof msg); }
  OtnIpcMsg next() {
    OtnIpcMsg msg{};
    EXPECT_EQ(recv(m_fd, &msg, sizeof msg, MSG_WAITALL), static_cast<ssize_t>(sizeof msg));
    return msg;
  }
  /// So many bytes, however they come.
  std::string bytes(size_t count) {
    std::string all(count, '\0');
    EXPECT_EQ(recv(m_fd, all.data(), count, MSG_WAITALL), static_cast<ssize_t>(count));
    return all;
  }
  /// All that comes until the connection ends.
  std::string rest() {
    std::string bytes;
    char piece[4096];
    ssize_t n = 0;
    while ((n = recv(m_fd, piece, sizeof piece, 0)) > 0) bytes.append(piece, static_cast<size_t>(n));
    EXPECT_EQ(n, 0);
    return bytes;
  }
  /// One read; returns how many bytes it gave.
  size_t read(void* bytes, size_t most) {
    return static_cast<size_t>(std::max<ssize_t>(0, recv(m_fd, bytes, most, 0)));
  }
  /// What one read gives.
  std::string piece() {
    std::string bytes(2 * sizeof(OtnIpcMsg), '\0');
    bytes.resize(read(bytes.data(), bytes.size()));
    return bytes;
  }
  bool hasNothing() {
    char c = 0;
    return recv(m_fd, &c, 1, MSG_DONTWAIT | MSG_PEEK) < 0;
  }

 private:
  int m_fd;
};
