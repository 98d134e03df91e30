// The tool at the other end of the debug socket.
#pragma once

#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cstring>
#include <string>

class DebugTool {
 public:
  DebugTool() : m_fd(socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0)) {
    unlink("/tmp/socket-client");
    const sockaddr_un address = at("/tmp/socket-client");
    EXPECT_EQ(bind(m_fd, reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
  }
  ~DebugTool() {
    close(m_fd);
    unlink("/tmp/socket-client");
  }
  DebugTool(const DebugTool&) = delete;
  DebugTool& operator=(const DebugTool&) = delete;

  bool send(const std::string& bytes) const {
    const sockaddr_un address = at("/tmp/socket-server");
    return sendto(m_fd, bytes.data(), bytes.size(), 0, reinterpret_cast<const sockaddr*>(&address),
                  sizeof address) == static_cast<ssize_t>(bytes.size());
  }
  std::string receive() const {
    std::string bytes(8000, '\0');
    const ssize_t n = recv(m_fd, bytes.data(), bytes.size(), MSG_DONTWAIT);
    bytes.resize(n < 0 ? 0 : static_cast<size_t>(n));
    return bytes;
  }

 private:
  static sockaddr_un at(const char* path) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    strcpy(address.sun_path, path);
    return address;
  }

  int m_fd;
};
