#include "otnbus/Bus.h"

#include <sched.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <utility>

#include "board/platformTrace.h"

namespace otnbus {

namespace {

constexpr LogPlace atReply{"otnbus", "reply", &platformTrace};
constexpr LogPlace atSignal{"otnbus", "signal", &platformTrace};

constexpr const char* standardAddress = "unix:path=/run/dbus/system_bus_socket";
/// Unsent messages beyond which no signal is taken.
constexpr uint64_t maxSignals = 65536;
/// Unsent messages beyond which nothing is read: whoever does not take answers gets no more of them.
constexpr uint64_t maxUnsent = 1024;

}  // namespace

Bus::Bus() : m_wake(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {}

Bus::~Bus() {
  ::close(m_wake);
}

void Bus::reply(uint64_t call, std::initializer_list<OBvalue> values) {
  Outcome outcome;
  {
    const Guard guard(&mutex);
    outcome = sendReply(call, values);
  }
  if (outcome == Outcome::NoMemory) {
    LOG(ERROR, atReply, HERE, "There is no memory for a reply, it is lost");
  }
}

Bus::Outcome Bus::sendReply(uint64_t call, std::initializer_list<OBvalue> values) {
  const auto owed = m_owed.find(call);
  if (m_closed || owed == m_owed.end()) return Outcome::Done;
  sd_bus_message* reply = owed->second.reply.get();
  Outcome outcome = Outcome::Done;
  if (reply != nullptr) {
    // A caller that has gone is no failure; a lost bus is noticed by who waits on it.
    if (!appendValues(reply, {values.begin(), values.size()}) || sd_bus_send(m_sd, reply, nullptr) == -ENOMEM)
      outcome = Outcome::NoMemory;
    sent();
    if (unsent() > 0) m_unsentText += textSize({values.begin(), values.size()});
  }
  forget(call);
  return outcome;
}

void Bus::release(uint64_t call) {
  const Guard guard(&mutex);
  forget(call);
}

void Bus::signal(const std::string& path, const std::string& interfaceName, const char* member,
                 std::initializer_list<OBvalue> values) {
  Outcome outcome;
  bool told;
  {
    const Guard guard(&mutex);
    outcome = sendSignal(path, interfaceName, member, values);
    told = std::exchange(m_droppingSignals, outcome == Outcome::Refused);
  }
  if (outcome == Outcome::Refused && !told) {
    LOG(WARNING, atSignal, HERE, "The bus takes no more signals, they are dropped");
  }
  if (outcome == Outcome::NoMemory) {
    LOG(ERROR, atSignal, HERE, "There is no memory for a signal, it is lost");
  }
}

Bus::Outcome Bus::sendSignal(const std::string& path, const std::string& interfaceName, const char* member,
                             std::initializer_list<OBvalue> values) {
  if (m_closed || m_sd == nullptr) return Outcome::Done;
  if (unsent() >= maxSignals) return Outcome::Refused;
  sd_bus_message* signal = nullptr;
  sd_bus_message_new_signal(m_sd, &signal, path.c_str(), interfaceName.c_str(), member);
  const Message owned(signal);
  if (signal == nullptr || !appendValues(signal, {values.begin(), values.size()})) return Outcome::NoMemory;
  const bool good = sd_bus_send(m_sd, signal, nullptr) != -ENOMEM;
  sent();
  return good ? Outcome::Done : Outcome::NoMemory;
}

void Bus::close() {
  const Guard guard(&mutex);
  m_closed = true;
}

void Bus::kill() {
  m_killers.fetch_add(1, std::memory_order_relaxed);
  m_killed.store(true, std::memory_order_release);
  wake();
  m_killers.fetch_sub(1, std::memory_order_release);
}

void Bus::awaitKillers() const {
  while (m_killers.load(std::memory_order_acquire) != 0) sched_yield();
}

void Bus::wake() const {
  const uint64_t one = 1;
  [[maybe_unused]] const ssize_t size = write(m_wake, &one, sizeof one);
}

void Bus::wait(Wait& wait) const {
  if (poll(wait.fds, std::size(wait.fds), wait.limit) <= 0 || wait.fds[1].revents == 0) return;
  uint64_t count;
  [[maybe_unused]] const ssize_t size = read(m_wake, &count, sizeof count);
}

/// As sd_bus_open_system does it, but without descriptors in messages.
int Bus::connect() {
  const char* address = secure_getenv("DBUS_SYSTEM_BUS_ADDRESS");
  int result = sd_bus_new(&m_sd);
  if (result >= 0) result = sd_bus_set_address(m_sd, address != nullptr ? address : standardAddress);
  if (result >= 0) result = sd_bus_set_bus_client(m_sd, 1);
  if (result >= 0) result = sd_bus_negotiate_fds(m_sd, 0);
  if (result >= 0) result = sd_bus_start(m_sd);
  return std::min(result, 0);
}

void Bus::disconnect() {
  m_owed.clear();
  m_owedText = 0;
  m_sd = sd_bus_close_unref(m_sd);
}

int Bus::prepare(Wait& wait, int limitMs) {
  using std::chrono::microseconds;
  wait = {{{-1, 0, 0}, {m_wake, POLLIN, 0}, {-1, 0, 0}}, limitMs};
  if (m_sd == nullptr) return 0;
  const int events = sd_bus_get_events(m_sd);
  if (events < 0) return events;
  m_awaitsRoom = (events & POLLOUT) != 0;
  if (!m_awaitsRoom) m_unsentText = 0;
  wait.fds[0] = {sd_bus_get_fd(m_sd), static_cast<short>(backedUp() ? POLLOUT : events), 0};
  if (backedUp()) return 0;
  uint64_t wakeAt = UINT64_MAX;
  sd_bus_get_timeout(m_sd, &wakeAt);
  if (wakeAt == UINT64_MAX) return 0;
  const auto now = std::chrono::steady_clock::now().time_since_epoch();
  const int64_t left = static_cast<int64_t>(wakeAt) - std::chrono::duration_cast<microseconds>(now).count();
  const int untilDue = static_cast<int>(std::clamp<int64_t>((left + 999) / 1000, 0, 60000));
  wait.limit = limitMs < 0 ? untilDue : std::min(limitMs, untilDue);
  return 0;
}

void Bus::sent() {
  if (unsent() == 0 || std::exchange(m_awaitsRoom, true)) return;
  wake();
}

uint64_t Bus::unsent() const {
  uint64_t count = 0;
  if (m_sd != nullptr) sd_bus_get_n_queued_write(m_sd, &count);
  return count;
}

bool Bus::mayRun() const {
  if (!backedUp()) return true;
  pollfd room{sd_bus_get_fd(m_sd), POLLOUT, 0};
  return poll(&room, 1, 0) > 0;
}

bool Bus::backedUp() const {
  return unsent() >= maxUnsent || m_unsentText >= maxTextTogether;
}

bool Bus::hasRoom(size_t textSize) const {
  return textSize <= maxTextTogether - m_owedText;
}

uint64_t Bus::begin(sd_bus_message* call, size_t textSize) {
  sd_bus_message* reply = nullptr;
  if (sd_bus_message_get_expect_reply(call) > 0 && sd_bus_message_new_method_return(call, &reply) < 0)
    return 0;
  Owed owed{Message(reply), textSize};
  ++m_lastCall;
  if (reply == nullptr && textSize == 0) return m_lastCall;
  m_owed.emplace(m_lastCall, std::move(owed));
  m_owedText += textSize;
  return m_lastCall;
}

void Bus::forget(uint64_t call) {
  const auto owed = m_owed.find(call);
  if (owed == m_owed.end()) return;
  m_owedText -= owed->second.textSize;
  m_owed.erase(owed);
}

}  // namespace otnbus
