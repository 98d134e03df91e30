// Opening and closing a connection: what the bus thread does with the bus before the dispatch.
#include "otnbus/Connection.h"

#include <malloc.h>
#include <poll.h>
#include <signal.h>
#include <stdlib.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>

#include "board/platformTrace.h"
#include "otnbus/errorText.h"
#include "stopPending.h"

namespace otnbus {

namespace {

constexpr LogPlace atOpen{"otnbus", "open", &platformTrace};
constexpr LogPlace atLost{"otnbus", "lost", &platformTrace};

using std::chrono::milliseconds;
using std::chrono::steady_clock;

constexpr int retryInterval = 500;     ///< ms between two attempts to get the name
constexpr uint64_t nameLimit = 10000;  ///< ms that the bus may take for its answer

constexpr const char* busName = "org.freedesktop.DBus";
constexpr uint32_t doNotQueue = 4;
constexpr uint32_t primaryOwner = 1;
constexpr const char* standardAddress = "unix:path=/run/dbus/system_bus_socket";
constexpr int mappedSize = 128 * 1024;

/// As sd_bus_open_system does it, but without descriptors in messages.
int openSystemBus(sd_bus** bus) {
  const char* address = secure_getenv("DBUS_SYSTEM_BUS_ADDRESS");
  int result = sd_bus_new(bus);
  if (result >= 0) result = sd_bus_set_address(*bus, address != nullptr ? address : standardAddress);
  if (result >= 0) result = sd_bus_set_bus_client(*bus, 1);
  if (result >= 0) result = sd_bus_negotiate_fds(*bus, 0);
  if (result >= 0) result = sd_bus_start(*bus);
  return result;
}

/// The answer to one call.
struct Answer {
  Message message;
  bool done = false;
};

int onAnswer(sd_bus_message* message, void* answer, sd_bus_error*) {
  static_cast<Answer*>(answer)->message.reset(sd_bus_message_ref(message));
  static_cast<Answer*>(answer)->done = true;
  return 1;
}

}  // namespace

Connection::Connection(std::string component) : m_component(std::move(component)) {}

Connection::~Connection() {
  m_outbox->close();
  closeBus();
}

void Connection::closeBus() {
  m_early.clear();
  m_owed.clear();
  m_bus = sd_bus_close_unref(m_bus);
}

bool Connection::stopRequested() const {
  return m_queue.killed() || otn::stopPending();
}

void Connection::open() {
  // A large message's memory goes back to the system with the message. Left to itself the C library would, on
  // a 64-bit host, keep as much as the largest message so far has taken.
  mallopt(M_MMAP_THRESHOLD, mappedSize);
  bool told = false;
  // A pending stop does not end this: a process that is told to stop before it has a bus ends by its start-up
  // limit, one whose bus is there comes up and then stops.
  while (!m_queue.killed()) {
    const std::string obstacle = attempt();
    if (m_bus != nullptr) {
      if (told) {
        LOG(INFO, atOpen, HERE, "Component %s is on the bus", m_component.c_str());
      }
      return;
    }
    if (!told) {
      LOG(WARNING, atOpen, HERE, "Component %s is not on the bus yet, trying again: %s", m_component.c_str(),
          obstacle.c_str());
      told = true;
    }
    for (int waited = 0; waited < retryInterval && !m_queue.killed(); waited += stopSlice) {
      poll(nullptr, 0, stopSlice);
    }
  }
}

/// Leaves m_bus null, and tells why, unless the component has its name.
std::string Connection::attempt() {
  if (const int error = openSystemBus(&m_bus); error < 0) {
    closeBus();
    return errorText(error);
  }
  sd_bus_add_filter(m_bus, nullptr, onMessage, this);
  sd_bus_message* request = nullptr;
  sd_bus_message_new_method_call(m_bus, &request, busName, "/org/freedesktop/DBus", busName, "RequestName");
  const Message owned(request);
  sd_bus_message_append(request, "su", ("otn." + m_component).c_str(), doNotQueue);
  std::string obstacle;
  const Message answer = call(owned, nameLimit, OnStop::GoOn, obstacle);
  uint32_t result = 0;
  if (answer && sd_bus_message_read(answer.get(), "u", &result) > 0) {
    if (result == primaryOwner) return {};
    obstacle = "the name belongs to another";
  }
  closeBus();
  return obstacle;
}

int Connection::takeInUntil(const std::function<bool()>& done, uint64_t limitMs, OnStop onStop) {
  const auto deadline = steady_clock::now() + milliseconds(limitMs);
  const auto brokenOff = [&] { return onStop == OnStop::GiveUp ? stopRequested() : m_queue.killed(); };
  int result = 0;
  while (result >= 0 && !done() && !brokenOff() && steady_clock::now() < deadline) {
    result = sd_bus_process(m_bus, nullptr);
    if (result == 0) {
      const auto left = deadline - steady_clock::now();
      const auto slice = std::clamp<steady_clock::duration>(left, milliseconds(0), milliseconds(stopSlice));
      sd_bus_wait(
          m_bus, static_cast<uint64_t>(std::chrono::duration_cast<std::chrono::microseconds>(slice).count()));
    }
  }
  // Where the connection is lost, the I/O thread will find out and report it.
  return std::min(result, 0);
}

Message Connection::call(const Message& request, uint64_t limitMs, OnStop onStop, std::string& error) {
  Answer answer;
  sd_bus_slot* slot = nullptr;
  int result = sd_bus_call_async(m_bus, &slot, request.get(), onAnswer, &answer, limitMs * 1000);
  const Slot owned(slot);
  if (result >= 0) result = takeInUntil([&answer] { return answer.done; }, limitMs, onStop);
  if (result < 0) {
    error = errorText(result);
    return nullptr;
  }
  if (!answer.done) {
    error = "no answer";
    return nullptr;
  }
  if (sd_bus_message_is_method_error(answer.message.get(), nullptr) > 0) {
    const sd_bus_error* failure = sd_bus_message_get_error(answer.message.get());
    error = failure->message != nullptr ? failure->message : failure->name;
    return nullptr;
  }
  return std::move(answer.message);
}

void Connection::lost(int error) {
  LOG(CRITICAL, atLost, HERE, "The bus connection is lost: %s", errorText(error).c_str());
  m_outbox->close();
  closeBus();
  ::kill(getpid(), SIGTERM);
}

}  // namespace otnbus
