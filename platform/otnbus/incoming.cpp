// What a connection does with the messages that come in, on the thread that owns the bus.
#include <string.h>

#include <algorithm>
#include <string_view>
#include <utility>

#include "OBstubReply.h"
#include "board/platformTrace.h"
#include "otnbus/Connection.h"

namespace otnbus {

namespace {

constexpr std::string_view peer = "org.freedesktop.DBus.Peer";
constexpr std::string_view introspectable = "org.freedesktop.DBus.Introspectable";
constexpr std::string_view properties = "org.freedesktop.DBus.Properties";
constexpr const char* busName = "org.freedesktop.DBus";

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

}  // namespace

int Connection::onMessage(sd_bus_message* message, void* self, sd_bus_error*) {
  return static_cast<Connection*>(self)->incoming(message);
}

/// 1 when the message is dealt with, 0 to leave it to sd-bus.
int Connection::incoming(sd_bus_message* message) {
  uint8_t type = 0;
  sd_bus_message_get_type(message, &type);
  if (type == SD_BUS_MESSAGE_SIGNAL) return handleSignal(message);
  if (type != SD_BUS_MESSAGE_METHOD_CALL || text(sd_bus_message_get_interface(message)) == peer) return 0;
  if (m_closing) return 1;
  if (m_running) {
    handleCall(message);
  } else if (m_early.size() < CallQueue::maxEntries) {
    keepEarly(message, true);
  } else {
    refuseMany(message);
  }
  return 1;
}

void Connection::handleCall(sd_bus_message* call) {
  const std::string path(text(sd_bus_message_get_path(call)));
  const std::string_view interface = text(sd_bus_message_get_interface(call));
  const std::string_view member = text(sd_bus_message_get_member(call));
  const Registry::Entry object = m_registry.object(path);
  if (object.description == nullptr && !m_registry.nodeExists(path)) {
    sd_bus_reply_method_errorf(call, SD_BUS_ERROR_UNKNOWN_OBJECT, "There is no object %s", path.c_str());
    return;
  }
  const bool own = object.description != nullptr && interface == interfaceName(*object.description);
  if (own || (interface.empty() && object.description != nullptr)) {
    const std::span<const OBmember> members = object.description->members;
    for (unsigned i = 0; i < members.size(); ++i) {
      if (members[i].kind == OBmember::Kind::Method && member == members[i].name) {
        dispatchCall(call, object, i);
        return;
      }
    }
  }
  if ((interface.empty() || interface == introspectable) && member == "Introspect") {
    if (takes(call, "")) sd_bus_reply_method_return(call, "s", m_registry.introspect(path).c_str());
  } else if ((interface.empty() || interface == properties) &&
             (member == "Get" || member == "Set" || member == "GetAll")) {
    handleProperties(call, object);
  } else if (own || interface.empty() || interface == introspectable || interface == properties) {
    sd_bus_reply_method_errorf(call, SD_BUS_ERROR_UNKNOWN_METHOD, "%s has no method %s", path.c_str(),
                               sd_bus_message_get_member(call));
  } else {
    sd_bus_reply_method_errorf(call, SD_BUS_ERROR_UNKNOWN_INTERFACE, "%s has no interface %s", path.c_str(),
                               sd_bus_message_get_interface(call));
  }
}

/// There are no properties.
void Connection::handleProperties(sd_bus_message* call, const Registry::Entry& object) {
  const std::string_view member = text(sd_bus_message_get_member(call));
  if (!takes(call, member == "GetAll" ? "s" : member == "Get" ? "ss" : "ssv")) return;
  const char* interface = nullptr;
  const char* property = nullptr;
  sd_bus_message_read_basic(call, SD_BUS_TYPE_STRING, &interface);
  if (member != "GetAll") sd_bus_message_read_basic(call, SD_BUS_TYPE_STRING, &property);
  const std::string_view name = text(interface);
  const bool known = name.empty() || name == peer || name == introspectable || name == properties ||
                     (object.description != nullptr && name == interfaceName(*object.description));
  if (!known) {
    sd_bus_reply_method_errorf(call, SD_BUS_ERROR_UNKNOWN_INTERFACE, "There is no interface %s", interface);
  } else if (member == "GetAll") {
    sd_bus_reply_method_return(call, "a{sv}", 0);
  } else {
    sd_bus_reply_method_errorf(call, SD_BUS_ERROR_UNKNOWN_PROPERTY, "There is no property %s", property);
  }
}

void Connection::dispatchCall(sd_bus_message* call, const Registry::Entry& object, unsigned member) {
  CallQueue::Entry entry;
  entry.registration = object.handle;
  entry.message.method = member;
  const char* signature = object.description->members[member].in;
  if (!takes(call, signature) || !readValues(call, signature, entry.message.arguments)) return;
  entry.textSize = textSize(entry.message.arguments);
  if (!m_queue.hasRoom(entry.textSize)) {
    refuseMany(call);
    return;
  }
  // The reply is begun here, so that the call itself, which may be large, need not be kept.
  const uint64_t id = ++m_lastCall;
  sd_bus_message* reply = nullptr;
  if (sd_bus_message_get_expect_reply(call) > 0 && sd_bus_message_new_method_return(call, &reply) >= 0) {
    m_replies.emplace(id, reply);
  }
  entry.message.reply = new OBstubReply(m_outbox, id);
  m_queue.post(std::move(entry));
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
  if (m_closing) return 0;
  const std::string_view from = text(sd_bus_message_get_sender(signal));
  if (from == busName && text(sd_bus_message_get_member(signal)) == "NameOwnerChanged") {
    ownerChanged(signal);
    return 0;
  }
  const std::string_view path = text(sd_bus_message_get_path(signal));
  if (!path.starts_with("/otn/")) return 0;
  unsigned member = 0;
  const Registry::Entry receiver =
      m_registry.receiver(std::string(path), text(sd_bus_message_get_interface(signal)).data(),
                          text(sd_bus_message_get_member(signal)).data(), member);
  if (receiver.description != nullptr) {
    const Sender& expected = sender(*receiver.description);
    if (expected.known && expected.owner != from) return 1;
    if (!m_running) {
      keepEarly(signal, expected.known);
    } else if (expected.known) {
      dispatchSignal(signal);
    }
  } else if (!m_running) {
    keepEarly(signal, false);
  }
  return 1;
}

/// The sender has been checked.
void Connection::dispatchSignal(sd_bus_message* signal) {
  CallQueue::Entry entry;
  const Registry::Entry receiver =
      m_registry.receiver(text(sd_bus_message_get_path(signal)).data(), sd_bus_message_get_interface(signal),
                          sd_bus_message_get_member(signal), entry.message.method);
  if (receiver.description == nullptr) return;
  const char* signature = receiver.description->members[entry.message.method].in;
  if (!readValues(signal, signature, entry.message.arguments)) return;
  entry.registration = receiver.handle;
  entry.textSize = textSize(entry.message.arguments);
  if (m_queue.hasRoom(entry.textSize)) {
    m_droppingSignals = false;
    m_queue.post(std::move(entry));
  } else if (!std::exchange(m_droppingSignals, true)) {
    TRACE_TO(platformTrace(), WARNING, "otnbus", __LINE__, __func__,
             "Too many calls are waiting, signal %s is dropped", sd_bus_message_get_member(signal));
  }
}

void Connection::keepEarly(sd_bus_message* message, bool checked) {
  if (m_early.size() < CallQueue::maxEntries) {
    m_early.push_back({Message(sd_bus_message_ref(message)), checked});
  }
}

/// Drops the signals that came before their sender was known and are not its.
void Connection::checkEarlySignals() {
  std::erase_if(m_early, [this](Early& early) {
    unsigned member = 0;
    if (early.checked) return false;
    const Registry::Entry receiver =
        m_registry.receiver(text(sd_bus_message_get_path(early.message.get())).data(),
                            sd_bus_message_get_interface(early.message.get()),
                            sd_bus_message_get_member(early.message.get()), member);
    if (receiver.description == nullptr) return false;
    const Sender& expected = sender(*receiver.description);
    early.checked = expected.known;
    return expected.known && expected.owner != text(sd_bus_message_get_sender(early.message.get()));
  });
}

void Connection::replayEarly() {
  for (const Early& early : m_early) {
    uint8_t type = 0;
    sd_bus_message_get_type(early.message.get(), &type);
    if (type == SD_BUS_MESSAGE_METHOD_CALL) {
      handleCall(early.message.get());
    } else if (early.checked) {
      dispatchSignal(early.message.get());
    }
  }
  m_early.clear();
}

}  // namespace otnbus
