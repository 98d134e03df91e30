// Opening and filling a connection: what the bus thread does with the bus before the dispatch.
#include "otnbus/Connection.h"

#include <malloc.h>
#include <poll.h>
#include <signal.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>

#include "board/platformTrace.h"
#include "stopPending.h"

namespace otnbus {

namespace {

using std::chrono::milliseconds;
using std::chrono::steady_clock;

constexpr int retryInterval = 500;     ///< ms between two attempts to get the name
constexpr uint64_t busLimit = 10000;   ///< ms that the bus itself may take for an answer
constexpr uint64_t queryLimit = 1000;  ///< ms

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

std::string errorText(int error) {
  char text[128];
  return strerror_r(error < 0 ? -error : error, text, sizeof text);
}

std::string objectPath(const std::string& component, const std::string& busInterfaceName) {
  return "/otn/" + component + "/" + busInterfaceName;
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
        TRACE_TO(platformTrace(), INFO, "otnbus", __LINE__, __func__, "Component %s is on the bus",
                 m_component.c_str());
      }
      return;
    }
    if (!told) {
      TRACE_TO(platformTrace(), WARNING, "otnbus", __LINE__, __func__,
               "Component %s is not on the bus yet, trying again: %s", m_component.c_str(), obstacle.c_str());
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
  const Message answer = call(owned, busLimit, OnStop::GoOn, &obstacle);
  uint32_t result = 0;
  if (answer && sd_bus_message_read(answer.get(), "u", &result) > 0) {
    if (result == primaryOwner) return {};
    obstacle = "the name belongs to another";
  }
  closeBus();
  return obstacle;
}

Message Connection::call(const Message& request, uint64_t limitMs, OnStop onStop, std::string* error) {
  Answer answer;
  sd_bus_slot* slot = nullptr;
  int result = sd_bus_call_async(m_bus, &slot, request.get(), onAnswer, &answer, limitMs * 1000);
  const auto deadline = steady_clock::now() + milliseconds(limitMs);
  const auto brokenOff = [&] { return onStop == OnStop::GiveUp ? stopRequested() : m_queue.killed(); };
  while (result >= 0 && !answer.done && !brokenOff() && steady_clock::now() < deadline) {
    result = sd_bus_process(m_bus, nullptr);
    if (result == 0) {
      const auto left = deadline - steady_clock::now();
      const auto slice = std::clamp<steady_clock::duration>(left, milliseconds(0), milliseconds(stopSlice));
      sd_bus_wait(
          m_bus, static_cast<uint64_t>(std::chrono::duration_cast<std::chrono::microseconds>(slice).count()));
    }
  }
  sd_bus_slot_unref(slot);
  if (result < 0) {
    // Where the connection is lost, the I/O thread will find out and report it.
    if (error != nullptr) *error = errorText(result);
    return nullptr;
  }
  if (!answer.done) {
    if (error != nullptr) *error = "no answer";
    return nullptr;
  }
  if (sd_bus_message_is_method_error(answer.message.get(), nullptr) > 0) {
    const sd_bus_error* failure = sd_bus_message_get_error(answer.message.get());
    if (error != nullptr) *error = failure->message != nullptr ? failure->message : failure->name;
    return nullptr;
  }
  return std::move(answer.message);
}

Message Connection::callBus(const char* method, const std::string& argument, std::string* error) {
  sd_bus_message* request = nullptr;
  sd_bus_message_new_method_call(m_bus, &request, busName, "/org/freedesktop/DBus", busName, method);
  const Message owned(request);
  sd_bus_message_append(request, "s", argument.c_str());
  return call(owned, busLimit, OnStop::GiveUp, error);
}

int Connection::offer(OBstub* stub, const OBinterfaceDescription& description,
                      const std::string& busInterfaceName) {
  const std::string path = objectPath(m_component, busInterfaceName);
  const int handle =
      sd_bus_object_path_is_valid(path.c_str()) > 0 ? m_registry.add(stub, description, path, false) : -1;
  if (handle < 0) {
    TRACE_TO(platformTrace(), ERROR, "otnbus", __LINE__, __func__,
             "Bus interface %s cannot be offered: the name is taken or unusable", busInterfaceName.c_str());
  }
  return handle;
}

int Connection::receive(OBstub* stub, const OBinterfaceDescription& description,
                        const std::string& busInterfaceName) {
  const std::string path = objectPath(description.sender, busInterfaceName);
  const int handle =
      sd_bus_object_path_is_valid(path.c_str()) > 0 ? m_registry.add(stub, description, path, true) : -1;
  std::string obstacle = handle < 0 ? "the name is taken or unusable" : "";
  if (handle >= 0 && m_bus != nullptr) {
    // A change of the owner arrives in order with the answer and with the signals, so that from the answer on
    // the owner is always the one of the moment at which a signal was sent.
    Sender& from = sender(description);
    const std::string ownerRule =
        "type='signal',sender='org.freedesktop.DBus',path='/org/freedesktop/DBus',"
        "interface='org.freedesktop.DBus',member='NameOwnerChanged',arg0='" +
        from.wellKnownName + "'";
    const std::string signalRule = "type='signal',sender='" + from.wellKnownName + "',path='" + path +
                                   "',interface='" + interfaceName(description) + "'";
    if (callBus("AddMatch", ownerRule, &obstacle)) {
      std::string none;
      const Message answer = callBus("GetNameOwner", from.wellKnownName, &none);
      const char* owner = nullptr;
      if (answer && sd_bus_message_read(answer.get(), "s", &owner) > 0) {
        sender(description).owner = owner;
      } else {
        sender(description).owner.clear();
      }
      sender(description).known = true;
      checkEarlySignals();
      if (callBus("AddMatch", signalRule, &obstacle)) return handle;
    }
    if (stopRequested()) return handle;
    m_registry.remove(handle);
  }
  if (obstacle.empty()) return handle;
  TRACE_TO(platformTrace(), ERROR, "otnbus", __LINE__, __func__, "Signals of %s cannot be received: %s",
           busInterfaceName.c_str(), obstacle.c_str());
  return -1;
}

bool Connection::query(const OBinterfaceDescription& description, const std::string& busInterfaceName,
                       const char* member, OBvalue& result) {
  const auto found = std::find_if(description.members.begin(), description.members.end(),
                                  [member](const OBmember& m) { return strcmp(m.name, member) == 0; });
  if (m_bus == nullptr || m_running || found == description.members.end()) return false;
  const std::string path = objectPath(description.sender, busInterfaceName);
  sd_bus_message* request = nullptr;
  if (sd_bus_message_new_method_call(m_bus, &request, sender(description).wellKnownName.c_str(), path.c_str(),
                                     interfaceName(description).c_str(), member) < 0) {
    return false;
  }
  const Message owned(request);
  sd_bus_message_set_auto_start(request, 0);
  const Message answer = call(owned, queryLimit, OnStop::GiveUp);
  std::vector<OBvalue> values;
  if (!answer || readValues(answer.get(), found->out, values) != ReadResult::Read) return false;
  if (values.size() != 1 || values[0].index() != result.index()) return false;
  result = std::move(values[0]);
  return true;
}

void Connection::lost(int error) {
  TRACE_TO(platformTrace(), CRITICAL, "otnbus", __LINE__, __func__, "The bus connection is lost: %s",
           errorText(error).c_str());
  m_outbox->close();
  closeBus();
  ::kill(getpid(), SIGTERM);
}

}  // namespace otnbus
