// OPS's end of the TCP connection, as far as a test needs it.
#pragma once

#include <arpa/inet.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <string>

#include "OtnIpcMsg.h"

class OpsPeer {
 public:
  static constexpr int limit = 20000;  ///< ms; no passing test reaches it

  OpsPeer() : m_listener(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
    const int on = 1;
    setsockopt(m_listener, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(8000);
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    m_listening = bind(m_listener, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0 &&
                  listen(m_listener, 1) == 0;
  }
  ~OpsPeer() {
    hangUp();
    close(m_listener);
  }
  OpsPeer(const OpsPeer&) = delete;
  OpsPeer& operator=(const OpsPeer&) = delete;

  bool listening() const { return m_listening; }
  bool accept() {
    if (!readable(m_listener, limit)) return false;
    m_fd = ::accept(m_listener, nullptr, nullptr);
    return m_fd >= 0;
  }
  /// Whether anything arrives within the time, ms.
  bool hasInput(int milliseconds) const { return readable(m_fd, milliseconds); }
  bool receive(OtnIpcMsg& msg) {
    size_t have = 0;
    while (have < sizeof msg) {
      if (!readable(m_fd, limit)) return false;
      const ssize_t n = read(m_fd, reinterpret_cast<char*>(&msg) + have, sizeof msg - have);
      if (n <= 0) return false;
      have += static_cast<size_t>(n);
    }
    return true;
  }
  bool send(const std::string& bytes) {
    return write(m_fd, bytes.data(), bytes.size()) == static_cast<ssize_t>(bytes.size());
  }
  /// Says that nothing more will be sent; goes on reading or not.
  void endOfStream() { shutdown(m_fd, SHUT_WR); }
  void hangUp() {
    if (m_fd >= 0) close(m_fd);
    m_fd = -1;
  }

 private:
  static bool readable(int fd, int milliseconds) {
    pollfd wanted{fd, POLLIN, 0};
    return poll(&wanted, 1, milliseconds) > 0;
  }

  int m_listener;
  int m_fd = -1;
  bool m_listening = false;
};
