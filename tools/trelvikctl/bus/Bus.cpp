#include "bus/Bus.h"

#include <poll.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <memory>

namespace ctl {
namespace {

using std::chrono::duration_cast;
using std::chrono::milliseconds;

struct Unref {
  void operator()(sd_bus_message* message) const { sd_bus_message_unref(message); }
};
using Message = std::unique_ptr<sd_bus_message, Unref>;

void append(sd_bus_message* message, const BusValue& value) {
  const auto basic = [message](char type, const auto& data) {
    sd_bus_message_append_basic(message, type, &data);
  };
  if (const auto* text = std::get_if<std::string>(&value)) {
    sd_bus_message_append_basic(message, 's', text->c_str());
  } else if (const auto* flag = std::get_if<bool>(&value)) {
    basic('b', static_cast<int>(*flag));
  } else {
    std::visit([&](const auto& one) { basic(typeOf(value), one); }, value);
  }
}

template <typename T>
void take(sd_bus_message* message, char type, std::vector<BusValue>& values) {
  T value{};
  sd_bus_message_read_basic(message, type, &value);
  values.emplace_back(std::in_place_type<T>, value);
}

/// The basic values that a message begins with, up to the end of a variant.
std::vector<BusValue> valuesOf(sd_bus_message* message) {
  std::vector<BusValue> values;
  char type = 0;
  while (sd_bus_message_peek_type(message, &type, nullptr) > 0) {
    switch (type) {
      case 'u':
        take<uint32_t>(message, type, values);
        break;
      case 'i':
        take<int32_t>(message, type, values);
        break;
      case 'q':
        take<uint16_t>(message, type, values);
        break;
      case 't':
        take<uint64_t>(message, type, values);
        break;
      case 'x':
        take<int64_t>(message, type, values);
        break;
      case 'b': {
        int flag = 0;
        sd_bus_message_read_basic(message, type, &flag);
        values.emplace_back(std::in_place_type<bool>, flag != 0);
        break;
      }
      case 's':
      case 'o': {
        const char* text = nullptr;
        sd_bus_message_read_basic(message, type, &text);
        values.emplace_back(std::in_place_type<std::string>, text == nullptr ? "" : text);
        break;
      }
      case 'v':
        if (sd_bus_message_enter_container(message, type, nullptr) < 0) return values;
        break;
      default:
        return values;
    }
  }
  return values;
}

struct Waiting {
  Reply reply;
  bool over = false;
};

std::string busAddress() {
  const char* address = getenv("DBUS_SYSTEM_BUS_ADDRESS");
  return address == nullptr ? "unix:path=/run/dbus/system_bus_socket" : address;
}

}  // namespace

Bus::~Bus() {
  sd_bus_close_unref(m_bus);
}

Outcome Bus::open() {
  const int result = sd_bus_open_system(&m_bus);
  if (result >= 0) return {};
  return {Exit::noDaemon, "no bus at " + busAddress() + " (" + strerror(-result) +
                              "): start dbus-daemon, or name another bus in DBUS_SYSTEM_BUS_ADDRESS"};
}

int Bus::onReply(sd_bus_message* message, void* waiting, sd_bus_error* /*error*/) {
  auto& [reply, over] = *static_cast<Waiting*>(waiting);
  over = true;
  if (sd_bus_message_is_method_error(message, nullptr) > 0) {
    const sd_bus_error* error = sd_bus_message_get_error(message);
    reply.kind = Reply::Kind::error;
    reply.errorName = error->name;
    reply.errorText = error->message == nullptr ? "" : error->message;
  } else {
    reply.kind = Reply::Kind::answered;
    reply.values = valuesOf(message);
  }
  return 1;
}

int Bus::onSignal(sd_bus_message* message, void* receiver, sd_bus_error* /*error*/) {
  (*static_cast<OnSignal*>(receiver))(sd_bus_message_get_interface(message),
                                      sd_bus_message_get_member(message), valuesOf(message));
  return 0;
}

sd_bus_message* Bus::makeMessage(const BusCall& call) {
  sd_bus_message* message = nullptr;
  if (sd_bus_message_new_method_call(m_bus, &message, call.service.c_str(), call.path.c_str(),
                                     call.interface.c_str(), call.method.c_str()) < 0) {
    return nullptr;
  }
  sd_bus_message_set_auto_start(message, 0);
  for (const BusArgument& argument : call.arguments) append(message, argument.value);
  return message;
}

Reply Bus::call(const BusCall& call, Milliseconds timeout, const std::function<void()>& tick) {
  const Message message(makeMessage(call));
  Waiting waiting;
  sd_bus_slot* slot = nullptr;
  // The time-out is kept here: sd-bus would report it like a daemon that went away.
  if (!message || sd_bus_call_async(m_bus, &slot, message.get(), onReply, &waiting, UINT64_MAX) < 0) {
    return waiting.reply;
  }
  const Clock::time_point end = Clock::now() + timeout;
  bool alive = true;
  while (alive && !waiting.over && !m_interrupted && Clock::now() < end) {
    const Clock::time_point next = tick ? std::min(end, Clock::now() + std::chrono::seconds(1)) : end;
    alive = run(next, [&waiting] { return waiting.over; });
    if (tick && alive && !waiting.over && !m_interrupted) tick();
  }
  sd_bus_slot_unref(slot);
  if (!waiting.over && alive) {
    waiting.reply.kind = m_interrupted ? Reply::Kind::interrupted : Reply::Kind::timeout;
  }
  return waiting.reply;
}

bool Bus::send(const BusCall& call, Milliseconds timeout) {
  const Message message(makeMessage(call));
  if (!message) return false;
  sd_bus_message_set_expect_reply(message.get(), 0);
  if (sd_bus_send(m_bus, message.get(), nullptr) < 0) return false;
  // The bus has it when it has answered what was asked behind it.
  return ownerPid(call.service, timeout) != 0;
}

bool Bus::subscribe(const std::string& match, OnSignal receive) {
  m_receivers.push_back(std::make_unique<OnSignal>(std::move(receive)));
  return sd_bus_add_match_async(m_bus, nullptr, match.c_str(), onSignal, nullptr, m_receivers.back().get()) >=
         0;
}

bool Bus::run(Clock::time_point until, const std::function<bool()>& enough) {
  while (true) {
    const int processed = sd_bus_process(m_bus, nullptr);
    if (processed < 0) return false;
    if (enough && enough()) return true;
    const int events = sd_bus_get_events(m_bus);
    const Clock::time_point now = Clock::now();
    if (events < 0) return false;
    if (now >= until) return true;
    // There may be more to process; a bus that never falls silent must not hide the stop.
    const auto left =
        processed > 0
            ? milliseconds(0)
            : duration_cast<milliseconds>(std::min<Clock::duration>(until - now, std::chrono::hours(1))) +
                  milliseconds(1);
    pollfd fds[] = {{sd_bus_get_fd(m_bus), static_cast<short>(events), 0}, {m_stop.fd(), POLLIN, 0}};
    poll(fds, 2, static_cast<int>(left.count()));
    if (fds[1].revents != 0) {
      m_interrupted = true;
      return true;
    }
  }
}

uint32_t Bus::ownerPid(const std::string& name, Milliseconds timeout) {
  const Reply reply = call({.service = "org.freedesktop.DBus",
                            .path = "/org/freedesktop/DBus",
                            .interface = "org.freedesktop.DBus",
                            .method = "GetConnectionUnixProcessID",
                            .arguments = {{"name", name}}},
                           timeout);
  if (!reply.answered() || reply.values.empty()) return 0;
  const auto* pid = std::get_if<uint32_t>(&reply.values.front());
  return pid == nullptr ? 0 : *pid;
}

Outcome noAnswer(const Reply& reply, const BusCall& call, const std::string& what, milliseconds timeout) {
  const bool daemon = call.service == "otn.Trelvik";
  const std::string& name = reply.errorName;
  const auto isError = [&name](std::string_view last) {
    return name == "org.freedesktop.DBus.Error." + std::string(last);
  };
  const std::string stays = daemon ? "; the request stays with the daemon" : "";
  switch (reply.kind) {
    case Reply::Kind::timeout: {
      const std::string limit = " within " + std::to_string(timeout.count()) + " ms";
      if (!daemon) {
        return {Exit::unknown, what + ": " + call.service + " has not answered" + limit +
                                   "; see whether it is alive, or wait longer with --timeout"};
      }
      return {Exit::unknown,
              what + ": no answer" + limit + stays +
                  ", which waits for ISS, or for a start or a stop of it. See trelvikctl status, "
                  "or wait longer with --timeout"};
    }
    case Reply::Kind::interrupted:
      return {Exit::unknown, what + ": interrupted" + stays};
    case Reply::Kind::lost:
      return {Exit::noDaemon, what +
                                  ": the bus ended the connection; see whether dbus-daemon runs and whether "
                                  "this user may connect (root may)"};
    default:
      break;
  }
  if (daemon && (isError("ServiceUnknown") || isError("NameHasNoOwner"))) {
    return {Exit::noDaemon,
            "the daemon is not on the bus (nobody owns otn.Trelvik): start it (systemctl start "
            "trelvik), or name its bus in DBUS_SYSTEM_BUS_ADDRESS"};
  }
  if (daemon && isError("NoReply")) {
    return {Exit::noDaemon, what + ": the daemon ended before it answered; its log says why"};
  }
  if (isError("AccessDenied") && !daemon) {
    return failed(what + ": the bus does not let this user call " + call.service + ": be root");
  }
  if (isError("AccessDenied")) {
    return failed(what +
                  ": the bus does not let this user call the daemon: be root or a member of the group otn");
  }
  if (isError("LimitsExceeded")) {
    return failed(what + ": " + reply.errorText +
                  ". The daemon has too much waiting; see whether ISS answers");
  }
  return failed(what + ": " + printable(reply.errorText) + " (" + name + ')');
}

}  // namespace ctl
