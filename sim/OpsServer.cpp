#include "OpsServer.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstring>
#include <utility>

#include "OpsDecoder.h"

namespace sim {
namespace {

/// A client that takes nothing gets no further keep-alives once so much waits for it.
constexpr size_t maxUnsent = 16 * sizeof(OtnIpcMsg);

}  // namespace

OpsServer::~OpsServer() {
  if (m_clientFd >= 0) ::close(m_clientFd);
  if (m_listenFd >= 0) ::close(m_listenFd);
}

bool OpsServer::listen(std::string& reason) {
  m_listenFd = ::socket(AF_INET, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
  const int one = 1;
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_port = htons(m_options.port);
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  socklen_t length = sizeof address;
  if (m_listenFd < 0 || setsockopt(m_listenFd, SOL_SOCKET, SO_REUSEADDR, &one, sizeof one) != 0 ||
      bind(m_listenFd, reinterpret_cast<sockaddr*>(&address), length) != 0 || ::listen(m_listenFd, 4) != 0 ||
      getsockname(m_listenFd, reinterpret_cast<sockaddr*>(&address), &length) != 0) {
    reason = "127.0.0.1:" + std::to_string(m_options.port) + ": ";
    reason += errno == EADDRINUSE ? "in use, is another instance running?" : strerror(errno);
    return false;
  }
  m_port = ntohs(address.sin_port);
  m_output.line("listening on 127.0.0.1:" + std::to_string(m_port));
  return true;
}

void OpsServer::addPollable(int fd, short events, std::function<void(short)> ready) {
  m_pollables.push_back({fd, events, std::move(ready)});
}

void OpsServer::removePollable(int fd) {
  for (Pollable& pollable : m_pollables) {
    if (pollable.fd == fd) pollable.fd = -1;
  }
}

void OpsServer::run(int stopFd) {
  std::vector<pollfd> fds;
  while (true) {
    std::erase_if(m_pollables, [](const Pollable& pollable) { return pollable.fd < 0; });
    const bool connected = m_clientFd >= 0;
    fds.assign({{stopFd, POLLIN, 0}, {m_listenFd, POLLIN, 0}});
    if (connected) fds[1] = {m_clientFd, static_cast<short>(m_unsent.empty() ? POLLIN : POLLOUT), 0};
    for (const Pollable& pollable : m_pollables) fds.push_back({pollable.fd, pollable.events, 0});
    const int ready = poll(fds.data(), fds.size(), pollTimeout());
    if (ready > 0 && fds[0].revents != 0) return;
    if (ready > 0 && fds[1].revents != 0) {
      if (!connected) {
        accept();
      } else if (!m_unsent.empty()) {
        flush();
      } else {
        receive();
      }
    }
    if (ready > 0) runPollables(fds);
    runTimers();
  }
}

void OpsServer::runPollables(const std::vector<pollfd>& fds) {
  for (size_t i = 2; i < fds.size(); ++i) {
    if (fds[i].revents == 0 || m_pollables[i - 2].fd < 0) continue;
    // A copy: the call may add pollables.
    const std::function<void(short)> call = m_pollables[i - 2].ready;
    call(fds[i].revents);
  }
}

int OpsServer::pollTimeout() const {
  const Clock::time_point due = std::min(m_restoreDue, m_keepAliveDue);
  if (due == Clock::time_point::max()) return -1;
  const auto left = std::chrono::ceil<std::chrono::milliseconds>(due - Clock::now()).count();
  return static_cast<int>(std::clamp<long long>(left, 0, INT_MAX));
}

void OpsServer::accept() {
  m_clientFd = accept4(m_listenFd, nullptr, nullptr, SOCK_NONBLOCK | SOCK_CLOEXEC);
  if (m_clientFd < 0) return;
  const int one = 1;
  setsockopt(m_clientFd, IPPROTO_TCP, TCP_NODELAY, &one, sizeof one);
  m_output.line("client connected");
  const Clock::time_point now = Clock::now();
  for (Observer* observer : m_observers) observer->onClient(true, now);
  if (m_options.restore != Restore::none) m_restoreDue = now + m_options.restoreDelay;
  if (m_options.keepAlive.count() > 0) m_keepAliveDue = now + m_options.keepAlive;
  sendStatus(TASK_INIT_STATUS);
}

void OpsServer::dropClient(const std::string& why) {
  if (!m_received.partial().empty() && !m_options.quiet) {
    m_output.line("<- " + decodePartialRecord(m_received.partial()));
  }
  m_output.line("client lost: " + why);
  for (Observer* observer : m_observers) observer->onClient(false, Clock::now());
  ::close(m_clientFd);
  m_clientFd = -1;
  m_received.reset();
  m_unsent.clear();
  m_restoreDue = Clock::time_point::max();
  m_keepAliveDue = Clock::time_point::max();
}

void OpsServer::receive() {
  const std::span<std::byte> room = m_received.room();
  const ssize_t n = recv(m_clientFd, room.data(), room.size(), 0);
  if (n < 0 && (errno == EAGAIN || errno == EINTR)) return;
  if (n <= 0) {
    dropClient(n == 0 ? "it closed the connection" : strerror(errno));
    return;
  }
  const Clock::time_point now = Clock::now();
  for (Observer* observer : m_observers)
    observer->onBytes(Direction::in, room.first(static_cast<size_t>(n)), now);
  if (!m_received.filled(static_cast<size_t>(n))) return;
  for (Observer* observer : m_observers) observer->onRecord(Direction::in, m_received.record(), now);
  if (!m_options.quiet) m_output.line("<- " + decodeRecord(m_received.record()));
  std::string notes;
  const OtnIpcMsg answer = m_model.answer(m_received.record(), notes);
  if (!notes.empty()) m_output.line(notes);
  send(answer);
}

void OpsServer::send(const OtnIpcMsg& record) {
  if (m_clientFd < 0) return;
  if (!m_options.quiet) m_output.line("-> " + decodeRecord(record));
  for (Observer* observer : m_observers) observer->onRecord(Direction::out, record, Clock::now());
  m_unsent.append(reinterpret_cast<const char*>(&record), sizeof record);
  flush();
}

void OpsServer::flush() {
  const ssize_t n = ::send(m_clientFd, m_unsent.data(), m_unsent.size(), MSG_NOSIGNAL);
  if (n >= 0) {
    const auto sent = std::as_bytes(std::span(m_unsent)).first(static_cast<size_t>(n));
    for (Observer* observer : m_observers) observer->onBytes(Direction::out, sent, Clock::now());
    m_unsent.erase(0, static_cast<size_t>(n));
  } else if (errno != EAGAIN && errno != EINTR) {
    dropClient(strerror(errno));
  }
}

void OpsServer::sendStatus(OtnIpcMsgType type) {
  OtnIpcMsg record{};
  record.msgType = type;
  send(record);
}

void OpsServer::sendRestoreResult() {
  OtnIpcMsg record{};
  record.msgType = MSR_RELOAD_STATUS;
  record.payload.msrReload.reloadStatus = m_options.restore == Restore::ok ? 0 : 1;
  send(record);
}

void OpsServer::runTimers() {
  const Clock::time_point now = Clock::now();
  if (m_restoreDue <= now) {
    m_restoreDue = Clock::time_point::max();
    sendRestoreResult();
  }
  if (m_keepAliveDue <= now) {
    m_keepAliveDue = now + m_options.keepAlive;
    if (m_unsent.size() < maxUnsent) sendStatus(WATCH_DOG_ISS_ACTIVE);
  }
}

}  // namespace sim
