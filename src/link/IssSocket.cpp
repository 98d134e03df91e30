#include "link/IssSocket.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <poll.h>
#include <pthread.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstring>

#include "TraceObject.h"
#include "link/Traffic.h"
#include "process/intervals.h"
#include "process/running.h"

IssSocket opsSocket;

namespace {

constexpr LogPlace atStartTcpClient{"IssSocket", "StartTcpClient"};
constexpr LogPlace atSentPacket{"IssSocket", "sentPacket"};
constexpr LogPlace atGetPacket{"IssSocket", "getPacket"};

constexpr uint16_t opsPort = 8000;

using Clock = std::chrono::steady_clock;

/// Waits until the descriptor has one of the events; errno is EINTR when a stop broke the wait off, ETIMEDOUT
/// when `until` came first.
bool waitUnlessStopping(int fd, short events, short& happened, Clock::time_point until) {
  for (;;) {
    pollfd wanted{fd, events, 0};
    const int ready = poll(&wanted, 1, stopCheckInterval);
    if (ready > 0) {
      happened = wanted.revents;
      return true;
    }
    if (ready < 0 && errno != EINTR) return false;
    if (stopRequested()) {
      errno = EINTR;
      return false;
    }
    if (Clock::now() >= until) {
      errno = ETIMEDOUT;
      return false;
    }
  }
}

/// connect(), but a peer that does not answer cannot keep the caller when the process is to stop.
int connectUnlessStopping(int fd, const sockaddr_in& addr) {
  const int flags = fcntl(fd, F_GETFL);
  fcntl(fd, F_SETFL, flags | O_NONBLOCK);
  if (connect(fd, reinterpret_cast<const sockaddr*>(&addr), sizeof addr) != 0) {
    if (errno != EINPROGRESS) return -1;
    short happened = 0;
    if (!waitUnlessStopping(fd, POLLOUT, happened, Clock::time_point::max())) return -1;
    int error = 0;
    socklen_t size = sizeof error;
    if (getsockopt(fd, SOL_SOCKET, SO_ERROR, &error, &size) != 0) return -1;
    if (error != 0) {
      errno = error;
      return -1;
    }
  }
  fcntl(fd, F_SETFL, flags);
  return 0;
}

/// Whether the connection is one with itself. While nobody listens, the system may take the port of OPS as
/// the port that the connection comes from: both ends are then the same socket.
bool isConnectedToItself(int fd) {
  sockaddr_in own{};
  sockaddr_in peer{};
  socklen_t ownSize = sizeof own;
  socklen_t peerSize = sizeof peer;
  return getsockname(fd, reinterpret_cast<sockaddr*>(&own), &ownSize) == 0 &&
         getpeername(fd, reinterpret_cast<sockaddr*>(&peer), &peerSize) == 0 &&
         own.sin_port == peer.sin_port && own.sin_addr.s_addr == peer.sin_addr.s_addr;
}

/// Closes the socket at once; the port is free for a listener afterwards.
void reset(int fd) {
  const linger atOnce{1, 0};
  setsockopt(fd, SOL_SOCKET, SO_LINGER, &atOnce, sizeof atOnce);
  close(fd);
}

/// The signal of a write to a connection that the peer has closed, delivered before it returns. The signal is
/// blocked everywhere else, because its handler logs and must not interrupt a log statement; so the write
/// itself raises none, and only one that has failed pays for opening the mask.
void deliverSigPipe() {
  sigset_t pipe;
  sigset_t before;
  sigemptyset(&pipe);
  sigaddset(&pipe, SIGPIPE);
  pthread_sigmask(SIG_UNBLOCK, &pipe, &before);
  raise(SIGPIPE);
  pthread_sigmask(SIG_SETMASK, &before, nullptr);
}

ssize_t sendUnlessStopping(int fd, const char* bytes, size_t length, Clock::time_point until) {
  size_t sent = 0;
  while (sent < length) {
    const ssize_t n = send(fd, bytes + sent, length - sent, MSG_DONTWAIT | MSG_NOSIGNAL);
    if (n >= 0) {
      sent += static_cast<size_t>(n);
      continue;
    }
    if (errno == EINTR) continue;
    if (errno == EPIPE) {
      deliverSigPipe();
      errno = EPIPE;
    }
    if (errno != EAGAIN) return -1;
    short happened = 0;
    if (!waitUnlessStopping(fd, POLLOUT | POLLRDHUP, happened, until)) return -1;
    // A peer that has gone away and does not read would hold the sender, and with it the ring, for ever.
    if ((happened & POLLRDHUP) != 0 && (happened & POLLOUT) == 0) {
      errno = EPIPE;
      return -1;
    }
  }
  return static_cast<ssize_t>(sent);
}

}  // namespace

int IssSocket::StartTcpClient() {
  fd = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  const int error = errno;
  const int debug = 1;
  setsockopt(fd, SOL_SOCKET, SO_DEBUG, &debug, sizeof debug);
  if (fd < 0) {
    LOG(WARNING, atStartTcpClient, 40, "Opening OPS socket() failed (%d): %s\n", error, strerror(error));
    return 1;
  }
  addr.sin_family = AF_INET;
  addr.sin_port = htons(opsPort);
  addr.sin_addr.s_addr = inet_addr("127.0.0.1");
  int refused = 0;
  if (connectUnlessStopping(fd, addr) != 0) {
    refused = errno;
    ::close(fd);
  } else if (isConnectedToItself(fd)) {
    refused = ECONNREFUSED;  // nobody listens
    reset(fd);
  }
  if (refused == 0) return 0;
  LOG(WARNING, atStartTcpClient, 49, "OPS socket connection failed (%d): %s\n", refused, strerror(refused));
  return 1;
}

int IssSocket::getFd(int& descriptor) const {
  descriptor = fd;
  return 0;
}

ssize_t IssSocket::sentPacket(const void* buffer, size_t length) {
  const auto until = m_sendLimit.count() != 0 ? Clock::now() + m_sendLimit : Clock::time_point::max();
  const ssize_t result = sendUnlessStopping(fd, static_cast<const char*>(buffer), length, until);
  if (result != -1) ++linkCounts.sent;
  if (result == -1) {
    const int error = errno;
    LOG(ERROR, atSentPacket, 81, "Failed to send msg to ISS: %s", strerror(error));
    if (error == ETIMEDOUT) shutdown(fd, SHUT_RDWR);
    errno = error;
  }
  return result;
}

ssize_t IssSocket::getPacket(void* buffer, size_t length) {
  const ssize_t result = read(fd, buffer, length);
  if (result > 0) ++linkCounts.received;
  if (result == -1) LOG(ERROR, atGetPacket, 92, "Failed to receive msg from ISS: %s", strerror(errno));
  return result;
}

int IssSocket::close() {
  if (shutdown(fd, SHUT_RDWR) != 0) perror("shutdown failed");
  if (::close(fd) != 0) perror("close failed");
  return 0;
}
