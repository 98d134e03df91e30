#include "ops/OpsServer.h"

#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstring>
#include <utility>

#include "base/Listener.h"
#include "base/SendWindow.h"
#include "record/OpsDecoder.h"
#include "record/SentText.h"

namespace sim {
namespace {

/// A client that takes nothing gets no further keep-alives once so many writes wait for it.
constexpr size_t maxWaiting = 16;

/// A client that takes nothing gets nothing more at all once so many bytes wait for it.
constexpr size_t maxWaitingBytes = size_t{64} << 20;

/// Writes of up to two records go out when they fit the client's window.
constexpr size_t maxWhole = 2 * sizeof(OtnIpcMsg);

constexpr const char* keepAliveNote = "keepalive";

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

OpsServer::OpsServer(const ServerOptions& options, EventLoop& loop, IssModel& model, LineOutput& output)
    : m_options(options),
      m_loop(loop),
      m_model(model),
      m_output(output),
      m_outbox([this](const Sent& sent) { tell(sent); }),
      m_startup(defaultStartup(options)),
      m_keepAlive(options.keepAlive) {}

OpsServer::~OpsServer() {
  for (const int fd : {m_clientFd, m_listenFd}) {
    if (fd < 0) continue;
    m_loop.forget(fd);
    ::close(fd);
  }
}

bool OpsServer::listen(std::string& reason) {
  m_listenFd = openListener(m_options.port, m_port);
  if (m_listenFd < 0) {
    reason = listenProblem(m_options.port, errno);
    return false;
  }
  watchPort();
  m_output.line("listening on 127.0.0.1:" + std::to_string(m_port));
  return true;
}

void OpsServer::reopen() {
  m_listenFd = openListener(m_port, m_port);
  if (m_listenFd >= 0) {
    watchPort();
    m_output.line("ISS is back, listening on 127.0.0.1:" + std::to_string(m_port));
    return;
  }
  m_output.line(listenProblem(m_port, errno));
  m_loop.timers().after(std::chrono::seconds(1), TimerQueue::Scope::simulator, [this] { reopen(); });
}

/// One client at a time: the next one waits in the port's queue.
void OpsServer::watchPort() {
  m_loop.watch(
      m_listenFd, [this] { return m_clientFd < 0 ? EventLoop::Interest{POLLIN} : EventLoop::Interest{}; },
      [this](short) { accept(); });
}

void OpsServer::serve() {
  if (mayWrite()) {
    flush();
  } else {
    receive();
  }
}

bool OpsServer::mayWrite() const {
  const Clock::time_point now = Clock::now();
  return now >= m_stalledUntil && !m_outbox.empty() && now >= m_writeDue;
}

/// Of the client. While it waits for its time, not even the connection's end is looked at: it would be
/// reported over and over.
EventLoop::Interest OpsServer::wanted() const {
  const Clock::time_point now = Clock::now();
  if (now < m_stalledUntil) return {std::nullopt, m_stalledUntil};
  if (m_outbox.empty()) return {POLLIN};
  if (now < m_writeDue) return {std::nullopt, m_writeDue};
  return {POLLOUT};
}

void OpsServer::accept() {
  std::string refused;
  m_clientFd = acceptClient(m_listenFd, refused);
  if (!refused.empty()) m_output.line("client refused: " + refused);
  if (m_clientFd < 0) return;
  const auto ready = [this](short events) {
    // Without events its time has come: what it waits for is asked anew.
    if (events != 0) serve();
  };
  m_loop.watch(
      m_clientFd, [this] { return wanted(); }, ready);
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
      m_loop.timers().after(time, TimerQueue::Scope::connection, [this, record] { send(record); },
                            {std::string("startup ") + msgTypeName(record.msgType)});
    }
  }
}

void OpsServer::setKeepAlive(std::chrono::milliseconds period) {
  m_keepAlive = period;
  m_loop.timers().cancel(keepAliveNote);
  if (m_clientFd >= 0 && period.count() > 0) scheduleKeepAlive();
}

void OpsServer::scheduleKeepAlive() {
  const auto sendOne = [this] {
    scheduleKeepAlive();
    if (m_outbox.size() >= maxWaiting) return;
    OtnIpcMsg record{};
    record.msgType = WATCH_DOG_ISS_ACTIVE;
    send(record);
  };
  m_loop.timers().after(m_keepAlive, TimerQueue::Scope::connection, sendOne, {keepAliveNote, UINT32_MAX});
}

void OpsServer::dropClient(const std::string& why, Direction by, bool reset) {
  if (!m_received.partial().empty() && !m_options.quiet) {
    m_output.line("<- " + decodePartialRecord(m_received.partial()));
  }
  forgetOutgoing();
  m_output.line("client lost: " + why);
  m_loop.forget(m_clientFd);
  ::close(m_clientFd);
  m_clientFd = -1;
  m_received.reset();
  m_stalledUntil = {};
  m_loop.timers().cancel(TimerQueue::Scope::connection);
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
  for (Observer* observer : m_observers) observer->onReceived(m_received.record(), now);
  if (!m_options.quiet) m_output.line("<- " + decodeRecord(m_received.record()));
  std::string notes;
  const OtnIpcMsg answer = m_model.answer(m_received.record(), notes);
  if (!notes.empty()) m_output.line(notes);
  for (const OtnIpcMsg& report : m_model.takeReports()) send(report);
  send(answer);
}

void OpsServer::send(const OtnIpcMsg& record) {
  if (m_clientFd < 0) return;
  Delivery delivery = m_faults.apply(record);
  if (!delivery.notes.empty()) m_output.line("rule: " + delivery.notes);
  if (delivery.delay.count() == 0) {
    queue(std::move(delivery));
  } else {
    hold(record, std::move(delivery));
  }
}

void OpsServer::hold(const OtnIpcMsg& record, Delivery delivery) {
  const uint64_t number = ++m_lastHeldBack;
  const Clock::time_point due = Clock::now() + delivery.delay;
  m_heldBack[number] = {due, record.msgType, std::move(delivery)};
  m_loop.timers().at(due, TimerQueue::Scope::connection, [this, number] {
    auto held = m_heldBack.extract(number);
    queue(std::move(held.mapped().delivery));
  });
}

std::vector<OpsServer::Delayed> OpsServer::delayed() const {
  std::vector<Delayed> result;
  for (const auto& [number, held] : m_heldBack) {
    result.push_back({held.due, held.type, held.delivery.notes});
  }
  return result;
}

void OpsServer::sendAsIs(const OtnIpcMsg& record, uint32_t count) {
  if (m_clientFd < 0) return;
  Told told{std::make_shared<const OtnIpcMsg>(record), sizeof record, ""};
  Delivery delivery;
  delivery.writes.push_back({bytesOf(record), count, {}, {std::move(told)}});
  queue(std::move(delivery));
}

void OpsServer::sendAsIs(std::string bytes) {
  if (m_clientFd < 0) return;
  Told told{nullptr, bytes.size(), ""};
  Delivery delivery;
  delivery.writes.push_back({std::move(bytes), 1, {}, {std::move(told)}});
  queue(std::move(delivery));
}

void OpsServer::tell(const Sent& sent) {
  if (!m_options.quiet || sent.record == nullptr) m_output.line("-> " + sentText(sent));
  const Clock::time_point now = Clock::now();
  for (Observer* observer : m_observers) observer->onSent(sent, now);
}

/// What waits for a client that is lost.
void OpsServer::forgetOutgoing() {
  constexpr const char* why = "the connection ended";
  m_outbox.forget(why);
  for (const auto& [number, held] : std::exchange(m_heldBack, {})) m_outbox.tellUnsent(held.delivery, why);
}

void OpsServer::close(Ending how) {
  if (m_clientFd < 0) return;
  Delivery delivery;
  delivery.ending = how;
  queue(std::move(delivery));
}

void OpsServer::restart(std::chrono::milliseconds away) {
  if (m_listenFd < 0) return;
  if (m_clientFd >= 0) end(Ending::close);
  m_loop.forget(m_listenFd);
  ::close(m_listenFd);
  m_listenFd = -1;
  m_model = IssModel();
  m_output.line("ISS is gone");
  m_loop.timers().after(away, TimerQueue::Scope::simulator, [this] { reopen(); }, {"ISS comes back"});
}

void OpsServer::stall(std::chrono::milliseconds time) {
  m_stalledUntil = Clock::now() + time;
}

void OpsServer::queue(Delivery delivery) {
  if (m_clientFd < 0) return;
  if (m_outbox.waitingBytes() > maxWaitingBytes && !delivery.writes.empty()) {
    m_output.line("the client takes nothing: this is left out");
    m_outbox.tellUnsent(delivery, "the client takes nothing");
    delivery.writes.clear();
    delivery.dropped.clear();
  }
  const bool idle = m_outbox.empty();
  m_outbox.add(std::move(delivery));
  if (!idle || m_outbox.empty()) return;
  m_writeDue = Clock::now() + m_outbox.pause();
  if (mayWrite()) flush();
}

void OpsServer::flush() {
  for (int turn = 0; turn < writesPerTurn && mayWrite(); ++turn) {
    if (m_outbox.ending() != Ending::none) {
      end(m_outbox.ending());
      return;
    }
    const std::string_view bytes = m_outbox.rest();
    // A client that reads piece by piece is to find whole records, also when it is slow: only faults cut
    // them.
    if (!m_outbox.begun() && bytes.size() <= maxWhole && !fitsWindow(m_clientFd, bytes.size())) {
      m_writeDue = Clock::now() + std::chrono::milliseconds(1);
      return;
    }
    const ssize_t n = ::send(m_clientFd, bytes.data(), bytes.size(), MSG_NOSIGNAL);
    if (n < 0) {
      if (errno != EAGAIN && errno != EINTR) dropClient(strerror(errno), Direction::in, true);
      return;
    }
    const Clock::time_point now = Clock::now();
    const std::string sent(bytes.substr(0, static_cast<size_t>(n)));
    if (m_outbox.wrote(sent.size()) && !m_outbox.empty()) m_writeDue = Clock::now() + m_outbox.pause();
    for (Observer* observer : m_observers)
      observer->onBytes(Direction::out, std::as_bytes(std::span(sent)), now);
  }
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
