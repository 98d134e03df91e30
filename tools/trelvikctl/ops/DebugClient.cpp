#include "ops/DebugClient.h"

#include <poll.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "base/StopSignal.h"
#include "base/UnixAddress.h"

namespace ctl {
namespace {

using std::chrono::steady_clock;

int connectTo(int fd, const char* path) {
  sockaddr_un address;
  sim::fillAddress(path, address);
  return connect(fd, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0 ? 0 : errno;
}

/// A socket at the tool's address, which it leaves no trace of.
class ClientSocket {
 public:
  ClientSocket() : m_fd(socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0)) {}
  ~ClientSocket() {
    if (m_bound) unlink(debugClientPath);
    if (m_fd >= 0) close(m_fd);
  }
  ClientSocket(const ClientSocket&) = delete;
  ClientSocket& operator=(const ClientSocket&) = delete;

  int fd() const { return m_fd; }

  Outcome bind() {
    if (probeSocket(debugClientPath) == 0) {
      return failed(std::string("another tool uses the debug socket (") + debugClientPath +
                    "): wait for its end");
    }
    struct stat status;
    // What a killed tool left behind.
    if (lstat(debugClientPath, &status) == 0 && S_ISSOCK(status.st_mode)) unlink(debugClientPath);
    sockaddr_un address;
    sim::fillAddress(debugClientPath, address);
    m_bound = ::bind(m_fd, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0;
    if (m_bound) return {};
    return failed(std::string("cannot receive at ") + debugClientPath + " (" + strerror(errno) +
                  "): remove what stands there, or be root");
  }

 private:
  int m_fd;
  bool m_bound = false;
};

Outcome cannotReach(int error) {
  const std::string reason = std::string(debugServerPath) + " (" + strerror(error) + ')';
  if (error == ENOENT || error == ECONNREFUSED) {
    return {Exit::noDaemon,
            "nobody receives at the debug socket " + reason + ": start the daemon (systemctl start trelvik)"};
  }
  return failed("cannot send to the debug socket " + reason + ": be root");
}

}  // namespace

int probeSocket(const char* path) {
  const int fd = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
  if (fd < 0) return errno;
  const int error = connectTo(fd, path);
  close(fd);
  return error;
}

Outcome exchange(const OtnIpcMsg& request, std::chrono::milliseconds timeout, OtnIpcMsg& answer) {
  if (const int error = probeSocket(debugServerPath)) return cannotReach(error);
  const StopSignal stop;
  ClientSocket client;
  if (Outcome bound = client.bind(); bound.status != Exit::done) return bound;
  // Connected to the daemon for the send only: its answers come from an address of its own choice.
  sockaddr_un server;
  sim::fillAddress(debugServerPath, server);
  if (sendto(client.fd(), &request, sizeof request, 0, reinterpret_cast<const sockaddr*>(&server),
             sizeof server) < 0) {
    return cannotReach(errno);
  }
  const steady_clock::time_point end = steady_clock::now() + timeout;
  while (true) {
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(end - steady_clock::now()).count();
    pollfd fds[] = {{client.fd(), POLLIN, 0}, {stop.fd(), POLLIN, 0}};
    poll(fds, 2, static_cast<int>(std::max<int64_t>(left, 0)));
    if (fds[1].revents != 0) return {Exit::unknown, "interrupted; the message stays with the daemon"};
    if (fds[0].revents == 0) {
      if (left > 0) continue;
      return {Exit::unknown,
              "no answer from ISS within " + std::to_string(timeout.count()) +
                  " ms; the message stays with the daemon. See whether ISS is alive (trelvikctl "
                  "status), or wait longer with --timeout"};
    }
    const ssize_t size = recv(client.fd(), &answer, sizeof answer, MSG_TRUNC);
    // An answer that an earlier tool did not wait for may come first.
    if (size == static_cast<ssize_t>(sizeof answer) && answer.msgType == request.msgType) return {};
  }
}

}  // namespace ctl
