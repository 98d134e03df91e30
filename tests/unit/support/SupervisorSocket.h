// The socket on which systemd hears of a service, named in NOTIFY_SOCKET while it lives.
#pragma once

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <string>

class SupervisorSocket {
 public:
  /// An abstract address, as systemd may use one.
  SupervisorSocket() : m_fd(socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0)) {
    const std::string name = "@trelvik-supervisor-" + std::to_string(getpid());
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    memcpy(address.sun_path + 1, name.c_str() + 1, name.size() - 1);
    const auto length = static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + name.size());
    m_bound = bind(m_fd, reinterpret_cast<const sockaddr*>(&address), length) == 0;
    setenv("NOTIFY_SOCKET", name.c_str(), 1);
  }
  ~SupervisorSocket() {
    unsetenv("NOTIFY_SOCKET");
    close(m_fd);
  }
  SupervisorSocket(const SupervisorSocket&) = delete;
  SupervisorSocket& operator=(const SupervisorSocket&) = delete;

  bool bound() const { return m_bound; }
  /// The next message; empty when none has come.
  std::string take() const {
    char text[1024];
    const ssize_t size = recv(m_fd, text, sizeof text, 0);
    return size < 0 ? std::string() : std::string(text, static_cast<size_t>(size));
  }

 private:
  int m_fd;
  bool m_bound;
};
