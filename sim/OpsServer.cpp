#include "OpsServer.h"

#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstring>
#include <utility>

#include "Listener.h"
#include "OpsDecoder.h"
#include "SendWindow.h"

namespace sim {
namespace {

/// A client that takes nothing gets no further keep-alives once so many writes wait for it.
constexpr size_t maxWaiting = 16;

/// A client that takes nothing gets nothing more at all once so many bytes wait for it.
constexpr size_t maxWaitingBytes = size_t{64} << 20;

/// Writes of up to two records go out when they fit the client's window.
constexpr size_t maxWhole = 2 * sizeof(OtnIpcMsg);

/// In one turn of the loop, so that a flood leaves the others their turn.
constexpr int writesPerTurn = 32;

std::vector<StartupStep> defaultStartup(const ServerOptions& options) {
  std::vector<StartupStep> steps = {{std::chrono::milliseconds(0), {TASK_INIT_STATUS, {}}}};
  if (options.restore != Restore::none) {
    RecordTemplate result{MSR_RELOAD_STATUS, {}};
    const std::string status(1, options.restore == Restore::ok ? '\0' : '\1');
    result.changes.fields.push_back({offsetof(OtnIpcMsg, payload.msrReload.reloadStatus), status});
    steps.push_back({options.restoreDelay, std::move(result)});
  }
  return steps;
}

}  // namespace

OpsServer::OpsServer(const ServerOptions& options, IssModel& model, LineOutput& output)
    : m_options(options),
      m_model(model),
      m_output(output),
      m_startup(defaultStartup(options)),
      m_keepAlive(options.keepAlive) {}

OpsServer::~OpsServer() {
  if (m_clientFd >= 0) ::close(m_clientFd);
  if (m_listenFd >= 0) ::close(m_listenFd);
}

bool OpsServer::listen(std::string& reason) {
  m_listenFd = openListener(m_options.port, m_port);
  if (m_listenFd < 0) {
    reason = listenProblem(m_options.port, errno);
    return false;
  }
  m_output.line("listening on 127.0.0.1:" + std::to_string(m_port));
  return true;
}

void OpsServer::reopen() {
  m_listenFd = openListener(m_port, m_port);
  if (m_listenFd >= 0) {
    m_output.line("ISS is back, listening on 127.0.0.1:" + std::to_string(m_port));
    return;
  }
  m_output.line(listenProblem(m_port, errno));
  m_timers.after(std::chrono::seconds(1), TimerQueue::Scope::simulator, [this] { reopen(); });
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
    if (connected) {
      // A descriptor without wanted events would still report its end, over and over.
      const short wanted = wantedEvents();
      fds[1] = {wanted == 0 ? -1 : m_clientFd, wanted, 0};
    }
    for (const Pollable& pollable : m_pollables) fds.push_back({pollable.fd, pollable.events, 0});
    const int ready = poll(fds.data(), fds.size(), pollTimeout());
    if (ready > 0 && fds[0].revents != 0) return;
    if (ready > 0 && fds[1].revents != 0) {
      if (connected) {
        serve(fds[1].events);
      } else {
        accept();
      }
    }
    if (ready > 0) runPollables(fds);
    m_timers.run(Clock::now());
  }
}

void OpsServer::serve(short events) {
  if (events == POLLOUT) {
    flush();
  } else {
    receive();
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

short OpsServer::wantedEvents() const {
  const Clock::time_point now = Clock::now();
  if (now < m_stalledUntil) return 0;
  if (m_outgoing.empty()) return POLLIN;
  return now < m_writeDue ? short{0} : short{POLLOUT};
}

int OpsServer::pollTimeout() const {
  Clock::time_point due = m_timers.next();
  const Clock::time_point now = Clock::now();
  if (m_clientFd >= 0 && now < m_stalledUntil) {
    due = std::min(due, m_stalledUntil);
  } else if (m_clientFd >= 0 && !m_outgoing.empty() && now < m_writeDue) {
    due = std::min(due, m_writeDue);
  }
  if (due == Clock::time_point::max()) return -1;
  const auto left = std::chrono::ceil<std::chrono::milliseconds>(due - now).count();
  return static_cast<int>(std::clamp<long long>(left, 0, INT_MAX));
}

void OpsServer::accept() {
  std::string refused;
  m_clientFd = acceptClient(m_listenFd, refused);
  if (!refused.empty()) m_output.line("client refused: " + refused);
  if (m_clientFd < 0) return;
  m_output.line("client connected");
  for (Observer* observer : m_observers) observer->onClient(true, Clock::now());
  setKeepAlive(m_keepAlive);
  greet();
}

void OpsServer::greet() {
  std::chrono::milliseconds time{0};
  // A change of the start-up is for the next client.
  const std::vector<StartupStep> steps = m_startup;
  for (const StartupStep& step : steps) {
    if (m_clientFd < 0) return;
    time += step.wait;
    const OtnIpcMsg record = step.record.build();
    if (time.count() == 0) {
      send(record);
    } else {
      m_timers.after(time, TimerQueue::Scope::connection, [this, record] { send(record); });
    }
  }
}

void OpsServer::setKeepAlive(std::chrono::milliseconds period) {
  m_keepAlive = period;
  ++m_keepAliveSetting;
  if (m_clientFd >= 0 && period.count() > 0) scheduleKeepAlive();
}

void OpsServer::scheduleKeepAlive() {
  m_timers.after(m_keepAlive, TimerQueue::Scope::connection, [this, setting = m_keepAliveSetting] {
    if (setting != m_keepAliveSetting) return;
    scheduleKeepAlive();
    if (m_outgoing.size() >= maxWaiting) return;
    OtnIpcMsg record{};
    record.msgType = WATCH_DOG_ISS_ACTIVE;
    send(record);
  });
}

void OpsServer::dropClient(const std::string& why, Direction by, bool reset) {
  if (!m_received.partial().empty() && !m_options.quiet) {
    m_output.line("<- " + decodePartialRecord(m_received.partial()));
  }
  m_output.line("client lost: " + why);
  ::close(m_clientFd);
  m_clientFd = -1;
  m_received.reset();
  m_outgoing.clear();
  m_waitingBytes = 0;
  m_written = 0;
  m_stalledUntil = {};
  m_timers.cancel(TimerQueue::Scope::connection);
  const Clock::time_point now = Clock::now();
  for (Observer* observer : m_observers) observer->onEnd(by, reset, now);
  for (Observer* observer : m_observers) observer->onClient(false, now);
}

void OpsServer::receive() {
  const std::span<std::byte> room = m_received.room();
  const ssize_t n = recv(m_clientFd, room.data(), room.size(), 0);
  if (n < 0 && (errno == EAGAIN || errno == EINTR)) return;
  if (n <= 0) {
    dropClient(n == 0 ? "it closed the connection" : strerror(errno), Direction::in, n < 0);
    return;
  }
  const Clock::time_point now = Clock::now();
  for (Observer* observer : m_observers) {
    observer->onBytes(Direction::in, room.first(static_cast<size_t>(n)), now);
  }
  if (!m_received.filled(static_cast<size_t>(n))) return;
  for (Observer* observer : m_observers) observer->onRecord(Direction::in, m_received.record(), now);
  if (!m_options.quiet) m_output.line("<- " + decodeRecord(m_received.record()));
  std::string notes;
  const OtnIpcMsg answer = m_model.answer(m_received.record(), notes);
  if (!notes.empty()) m_output.line(notes);
  for (const OtnIpcMsg& report : m_model.takeReports()) send(report);
  send(answer);
}

void OpsServer::send(const OtnIpcMsg& record) {
  if (m_clientFd < 0) return;
  announce(record);
  Delivery delivery = m_faults.apply(record);
  if (!delivery.notes.empty()) m_output.line("rule: " + delivery.notes);
  if (delivery.delay.count() == 0) {
    queue(std::move(delivery));
    return;
  }
  m_timers.after(delivery.delay, TimerQueue::Scope::connection, [this, delivery] { queue(delivery); });
}

void OpsServer::sendAsIs(const OtnIpcMsg& record, uint32_t count) {
  if (m_clientFd < 0) return;
  announce(record);
  if (count > 1) m_output.line("... and so on, " + std::to_string(count) + " in all");
  queue({{}, {{bytesOf(record), count}}, Ending::none, {}});
}

void OpsServer::sendAsIs(std::string bytes) {
  if (m_clientFd < 0) return;
  m_output.line("-> " + std::to_string(bytes.size()) + " bytes that are no record");
  queue({{}, {{std::move(bytes)}}, Ending::none, {}});
}

void OpsServer::announce(const OtnIpcMsg& record) {
  if (!m_options.quiet) m_output.line("-> " + decodeRecord(record));
  for (Observer* observer : m_observers) observer->onRecord(Direction::out, record, Clock::now());
}

void OpsServer::close(Ending how) {
  if (m_clientFd >= 0) queue({{}, {}, how, {}});
}

void OpsServer::restart(std::chrono::milliseconds away) {
  if (m_listenFd < 0) return;
  if (m_clientFd >= 0) end(Ending::close);
  ::close(m_listenFd);
  m_listenFd = -1;
  m_model = IssModel();
  m_output.line("ISS is gone");
  m_timers.after(away, TimerQueue::Scope::simulator, [this] { reopen(); });
}

void OpsServer::stall(std::chrono::milliseconds time) {
  m_stalledUntil = Clock::now() + time;
}

void OpsServer::queue(Delivery delivery) {
  if (m_clientFd < 0) return;
  if (m_waitingBytes > maxWaitingBytes && !delivery.writes.empty()) {
    m_output.line("the client takes nothing: this is left out");
    delivery.writes.clear();
  }
  const bool idle = m_outgoing.empty();
  for (Write& write : delivery.writes) {
    m_waitingBytes += write.bytes.size();
    m_outgoing.push_back({std::move(write), Ending::none});
  }
  if (delivery.ending != Ending::none) m_outgoing.push_back({{}, delivery.ending});
  if (!idle || m_outgoing.empty()) return;
  m_writeDue = Clock::now() + m_outgoing.front().write.pause;
  if (wantedEvents() == POLLOUT) flush();
}

void OpsServer::flush() {
  for (int turn = 0; turn < writesPerTurn && wantedEvents() == POLLOUT; ++turn) {
    if (m_outgoing.front().ending != Ending::none) {
      end(m_outgoing.front().ending);
      return;
    }
    const std::string& bytes = m_outgoing.front().write.bytes;
    // A client that reads piece by piece is to find whole records, also when it is slow: only faults cut
    // them.
    if (m_written == 0 && bytes.size() <= maxWhole && !fitsWindow(m_clientFd, bytes.size())) {
      m_writeDue = Clock::now() + std::chrono::milliseconds(1);
      return;
    }
    const ssize_t n = ::send(m_clientFd, bytes.data() + m_written, bytes.size() - m_written, MSG_NOSIGNAL);
    if (n < 0) {
      if (errno != EAGAIN && errno != EINTR) dropClient(strerror(errno), Direction::in, true);
      return;
    }
    const auto sent = std::as_bytes(std::span(bytes)).subspan(m_written, static_cast<size_t>(n));
    for (Observer* observer : m_observers) observer->onBytes(Direction::out, sent, Clock::now());
    m_written += static_cast<size_t>(n);
    if (m_written == bytes.size()) finishWrite();
  }
}

void OpsServer::finishWrite() {
  m_written = 0;
  if (--m_outgoing.front().write.repeats > 0) return;
  m_waitingBytes -= m_outgoing.front().write.bytes.size();
  m_outgoing.pop_front();
  if (!m_outgoing.empty()) m_writeDue = Clock::now() + m_outgoing.front().write.pause;
}

void OpsServer::end(Ending how) {
  if (how == Ending::reset) {
    const linger now{1, 0};
    setsockopt(m_clientFd, SOL_SOCKET, SO_LINGER, &now, sizeof now);
  } else {
    // What stays unread would turn an orderly end into a reset.
    char unread[4096];
    while (recv(m_clientFd, unread, sizeof unread, 0) > 0) {
    }
  }
  dropClient(how == Ending::reset ? "reset by the simulator" : "closed by the simulator", Direction::out,
             how == Ending::reset);
}

}  // namespace sim
