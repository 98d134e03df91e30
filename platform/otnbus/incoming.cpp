// What a connection does with the messages that come in, on the thread that has the bus.
#include <algorithm>
#include <cstring>
#include <new>
#include <string_view>
#include <utility>

#include "board/platformTrace.h"
#include "otnbus/Connection.h"

namespace otnbus {

namespace {

constexpr LogPlace atDropSignal{"otnbus", "dropSignal", &platformTrace};

constexpr std::string_view peer = "org.freedesktop.DBus.Peer";
constexpr std::string_view introspectable = "org.freedesktop.DBus.Introspectable";
constexpr std::string_view properties = "org.freedesktop.DBus.Properties";
constexpr int longestQuote = 255;  ///< of a caller's own text in the error that it gets

std::string_view text(const char* value) {
  return value != nullptr ? value : "";
}

bool takes(sd_bus_message* call, const char* signature) {
  if (sd_bus_message_has_signature(call, signature) > 0) return true;
  sd_bus_reply_method_errorf(call, SD_BUS_ERROR_INVALID_ARGS, "%s takes '%s'",
                             sd_bus_message_get_member(call), signature);
  return false;
}

void refuseMany(sd_bus_message* call) {
  sd_bus_reply_method_errorf(call, SD_BUS_ERROR_LIMITS_EXCEEDED, "Too many calls are waiting");
}

void refuseText(sd_bus_message* call) {
  sd_bus_reply_method_errorf(call, SD_BUS_ERROR_LIMITS_EXCEEDED,
                             "The text of a call comes to %zu bytes at most", maxText);
}

void refuseForMemory(sd_bus_message* call) {
  sd_bus_reply_method_errorf(call, SD_BUS_ERROR_NO_MEMORY, "There is no memory for the call");
}

}  // namespace

int Connection::onMessage(sd_bus_message* message, void* self, sd_bus_error*) {
  Connection& connection = *static_cast<Connection*>(self);
  connection.m_lackingMemory = false;
  return connection.guarded(message, &Connection::incoming);
}

/// sd-bus cannot carry an exception on: what there is no memory for is refused.
int Connection::guarded(sd_bus_message* message, int (Connection::*handle)(sd_bus_message*)) {
  try {
    return (this->*handle)(message);
  } catch (const std::bad_alloc&) {
    refuseForMemory(message);
    return 1;
  }
}

/// 1 when the message is dealt with, 0 to leave it to sd-bus.
int Connection::incoming(sd_bus_message* message) {
  uint8_t type = 0;
  sd_bus_message_get_type(message, &type);
  if (type == SD_BUS_MESSAGE_SIGNAL) return handleSignal(message);
  if (type != SD_BUS_MESSAGE_METHOD_CALL || text(sd_bus_message_get_interface(message)) == peer) return 0;
  if (m_bus->closed()) return 1;
  return m_running ? handleCall(message) : handleEarlyCall(message);
}

int Connection::handleEarlyCall(sd_bus_message* call) {
  const size_t size = keptSize(call, maxText);
  if (size > maxText) {
    refuseText(call);
  } else if (!keepEarly(call, size, true)) {
    refuseMany(call);
  }
  return 1;
}

int Connection::handleCall(sd_bus_message* call) {
  const std::string_view path = text(sd_bus_message_get_path(call));
  const std::string_view interface = text(sd_bus_message_get_interface(call));
  const std::string_view member = text(sd_bus_message_get_member(call));
  const Registry::Entry* const object = m_registry.object(path);
  if (object == nullptr && !m_registry.nodeExists(path)) {
    sd_bus_reply_method_errorf(call, SD_BUS_ERROR_UNKNOWN_OBJECT, "There is no object %.*s", longestQuote,
                               path.data());
    return 1;
  }
  const bool own = object != nullptr && isInterface(interface, *object->description);
  if (own || (interface.empty() && object != nullptr)) {
    const std::span<const OBmember> members = object->description->members;
    for (unsigned i = 0; i < members.size(); ++i) {
      if (members[i].kind == OBmember::Kind::Method && member == members[i].name) {
        dispatchCall(call, *object, i);
        return 1;
      }
    }
  }
  if ((interface.empty() || interface == introspectable) && member == "Introspect") {
    if (takes(call, ""))
      sd_bus_reply_method_return(call, "s", m_registry.introspect(std::string(path)).c_str());
  } else if ((interface.empty() || interface == properties) &&
             (member == "Get" || member == "Set" || member == "GetAll")) {
    handleProperties(call, object != nullptr ? object->description : nullptr);
  } else if (own || interface.empty() || interface == introspectable || interface == properties) {
    sd_bus_reply_method_errorf(call, SD_BUS_ERROR_UNKNOWN_METHOD, "%s has no method %s", path.data(),
                               sd_bus_message_get_member(call));
  } else {
    sd_bus_reply_method_errorf(call, SD_BUS_ERROR_UNKNOWN_INTERFACE, "%s has no interface %s", path.data(),
                               sd_bus_message_get_interface(call));
  }
  return 1;
}

/// There are no properties.
void Connection::handleProperties(sd_bus_message* call, const OBinterfaceDescription* object) {
  const std::string_view member = text(sd_bus_message_get_member(call));
  if (!takes(call, member == "GetAll" ? "s" : member == "Get" ? "ss" : "ssv")) return;
  const char* interface = nullptr;
  sd_bus_message_read_basic(call, SD_BUS_TYPE_STRING, &interface);
  const std::string_view name = text(interface);
  const bool known = name.empty() || name == peer || name == introspectable || name == properties ||
                     (object != nullptr && isInterface(name, *object));
  if (!known) {
    sd_bus_reply_method_errorf(call, SD_BUS_ERROR_UNKNOWN_INTERFACE, "There is no such interface");
  } else if (member == "GetAll") {
    sd_bus_reply_method_return(call, "a{sv}", 0);
  } else {
    sd_bus_reply_method_errorf(call, SD_BUS_ERROR_UNKNOWN_PROPERTY, "There are no properties");
  }
}

void Connection::dispatchCall(sd_bus_message* call, const Registry::Entry& object, unsigned member) {
  CallQueue::Entry entry;
  entry.registration = object.handle;
  entry.message.method = member;
  const char* signature = object.description->members[member].in;
  if (!takes(call, signature)) return;
  if (readValues(call, signature, entry.message.arguments) == ReadResult::TooMuchText) {
    refuseText(call);
    return;
  }
  entry.textSize = textSize(entry.message.arguments);
  CallQueue& queue = object.immediate ? m_immediate : m_queue;
  if (!queue.hasRoom(entry.textSize) || !m_bus->hasRoom(entry.textSize)) {
    refuseMany(call);
    return;
  }
  const uint64_t number = m_bus->begin(call, entry.textSize);
  entry.call = number;
  if (number != 0 && queue.post(std::move(entry))) return;
  m_bus->forget(number);
  refuseForMemory(call);
}

Connection::Sender& Connection::sender(const OBinterfaceDescription& description) {
  const std::string name = std::string("otn.") + description.sender;
  const auto found = std::find_if(m_senders.begin(), m_senders.end(),
                                  [&name](const Sender& s) { return s.wellKnownName == name; });
  if (found != m_senders.end()) return *found;
  return m_senders.emplace_back(Sender{name, {}, false});
}

void Connection::ownerChanged(sd_bus_message* signal) {
  const char* name = nullptr;
  const char* before = nullptr;
  const char* after = nullptr;
  if (sd_bus_message_read(signal, "sss", &name, &before, &after) <= 0) return;
  for (Sender& s : m_senders) {
    if (s.wellKnownName == name) s.owner = after;
  }
}

int Connection::handleSignal(sd_bus_message* signal) {
  if (m_bus->closed()) return 0;
  const std::string_view from = text(sd_bus_message_get_sender(signal));
  if (from == busName && text(sd_bus_message_get_member(signal)) == "NameOwnerChanged") {
    ownerChanged(signal);
    return 0;
  }
  const std::string_view path = text(sd_bus_message_get_path(signal));
  if (!path.starts_with("/otn/")) return 0;
  unsigned member = 0;
  const Registry::Entry* const receiver = m_registry.receiver(
      path, text(sd_bus_message_get_interface(signal)), text(sd_bus_message_get_member(signal)), member);
  if (receiver != nullptr) {
    const Sender& expected = sender(*receiver->description);
    if (expected.known && expected.owner != from) return 1;
    if (!m_running) {
      keepEarlySignal(signal, expected.known);
    } else if (expected.known) {
      dispatchSignal(signal);
    }
  } else if (!m_running) {
    keepEarlySignal(signal, false);
  }
  return 1;
}

/// The sender has been checked.
int Connection::dispatchSignal(sd_bus_message* signal) {
  CallQueue::Entry entry;
  const Registry::Entry* const receiver =
      m_registry.receiver(text(sd_bus_message_get_path(signal)), text(sd_bus_message_get_interface(signal)),
                          text(sd_bus_message_get_member(signal)), entry.message.method);
  if (receiver == nullptr) return 1;
  const char* signature = receiver->description->members[entry.message.method].in;
  const ReadResult result = readValues(signal, signature, entry.message.arguments);
  if (result == ReadResult::WrongSignature) return 1;
  entry.registration = receiver->handle;
  entry.textSize = textSize(entry.message.arguments);
  if (result == ReadResult::Read && m_queue.hasRoom(entry.textSize) && m_queue.post(std::move(entry))) {
    m_droppingSignals = false;
  } else {
    dropSignal(signal);
  }
  return 1;
}

/// One WARNING for each time that it comes to this.
void Connection::dropSignal(sd_bus_message* signal) {
  if (std::exchange(m_droppingSignals, true)) return;
  LOG(WARNING, atDropSignal, HERE, "Too many calls are waiting, signal %s is dropped",
      sd_bus_message_get_member(signal));
}

/// False when as much waits for the start as may.
bool Connection::keepEarly(sd_bus_message* message, size_t size, bool checked) {
  if (m_early.size() >= CallQueue::maxEntries || size > maxTextTogether - m_earlySize) return false;
  m_early.push_back({Message(sd_bus_message_ref(message)), size, checked});
  m_earlySize += size;
  return true;
}

void Connection::keepEarlySignal(sd_bus_message* signal, bool checked) {
  const size_t size = keptSize(signal, maxText);
  if (size > maxText || !keepEarly(signal, size, checked)) dropSignal(signal);
}

/// Drops the signals that came before their sender was known and are not its.
void Connection::checkEarlySignals() {
  std::erase_if(m_early, [this](Early& early) REQUIRES(m_bus->mutex) {
    unsigned member = 0;
    if (early.checked) return false;
    sd_bus_message* signal = early.message.get();
    const Registry::Entry* const receiver =
        m_registry.receiver(text(sd_bus_message_get_path(signal)), text(sd_bus_message_get_interface(signal)),
                            text(sd_bus_message_get_member(signal)), member);
    if (receiver == nullptr) return false;
    const Sender& expected = sender(*receiver->description);
    early.checked = expected.known;
    if (!expected.known || expected.owner == text(sd_bus_message_get_sender(signal))) return false;
    m_earlySize -= early.size;
    return true;
  });
}

void Connection::replayEarly() {
  for (; !m_early.empty(); m_early.pop_front()) {
    const Early& early = m_early.front();
    uint8_t type = 0;
    sd_bus_message_get_type(early.message.get(), &type);
    if (type == SD_BUS_MESSAGE_METHOD_CALL) {
      guarded(early.message.get(), &Connection::handleCall);
    } else if (early.checked) {
      guarded(early.message.get(), &Connection::dispatchSignal);
    }
  }
  m_earlySize = 0;
}

}  // namespace otnbus
