// Calls the daemon, or a floor in its place, and prints how long the answers took.
//
//   trelvik-caller [--callers N] [--count N] [--records 1|2 | --query | --debug]
//
// N callers are N connections with one call under way each. A request of one record is a probe, one of two
// records a flushed MSTP rule; --query asks for the trace level, --debug uses the debug socket. Prints one
// line of JSON: microseconds and requests a second. Exit status: 0 = all answered, 1 = not, 2 = usage.
#include <poll.h>

#include <algorithm>
#include <charconv>
#include <chrono>
#include <memory>

#include "OtnIpcMsg.h"
#include "wire.h"

namespace {

using Clock = std::chrono::steady_clock;

struct Options {
  unsigned callers = 1;
  unsigned count = 10000;
  unsigned records = 1;
  bool query = false;
  bool debug = false;
};

/// The body of a call: little-endian words, texts where the signature has `s`.
std::string body(std::initializer_list<uint32_t> words) {
  std::string bytes;
  for (const uint32_t value : words) bytes.append(reinterpret_cast<const char*>(&value), sizeof value);
  return bytes;
}

std::vector<char> makeCall(const Options& options) {
  const char* object = "IssSetLanWanAsync";
  const char* interfaceName = "otn.OBsetPortParams_1_0";
  const char* method = "setPortParams";
  const char* types = "uuuubuuu";
  std::string arguments = body({3, 6, 5, 1000, 0, 100, 0, 0});
  if (options.query) {
    object = "ob_common", interfaceName = "otn.OBcommon_1_0", method = "get_trace_level", types = "";
    arguments.clear();
  } else if (options.records == 2) {
    // An MSTP rule on the LAN side with a flush; the data VLANs are an empty text.
    object = "IssSetIssMgrAsync", interfaceName = "otn.OBsetIssMgrParams_1_0", method = "setIssMgrParams";
    types = "uuuuiuuuuuusuuuqii";
    arguments = body({1, 0, 5, 0, 1, 7, 1, 3, 679, 0, 0});
    arguments += body({0}) + std::string(4, 0);
    arguments += body({0, 0, 0, 0, 0, 0});
  }
  wire::Message call(wire::call, 0, 0);
  call.text(wire::path, 'o', std::string("/otn/Trelvik/") + object);
  call.text(wire::interface, 's', interfaceName);
  call.text(wire::member, 's', method);
  call.text(wire::destination, 's', "otn.Trelvik");
  if (*types != '\0') call.text(wire::signature, 'g', types);
  return call.finish(arguments);
}

struct Caller {
  explicit Caller(const char* address) : bus(address) {}
  wire::Connection bus;
  Clock::time_point sent;
  uint32_t serial = 16;
};

void send(Caller& caller, std::vector<char>& call) {
  ++caller.serial;
  memcpy(&call[8], &caller.serial, sizeof caller.serial);
  caller.sent = Clock::now();
  wire::writeAll(caller.bus.fd(), call.data(), call.size());
}

double microseconds(Clock::duration time) {
  return std::chrono::duration<double, std::micro>(time).count();
}

/// Returns what each answer took; the first tenth warms up and is not kept.
std::vector<double> callBus(const Options& options) {
  const char* address = getenv("DBUS_SYSTEM_BUS_ADDRESS");
  std::vector<std::unique_ptr<Caller>> callers;
  std::vector<pollfd> wait;
  std::vector<char> call = makeCall(options);
  for (unsigned i = 0; i < options.callers; ++i) {
    callers.push_back(
        std::make_unique<Caller>(address != nullptr ? address : "unix:path=/run/dbus/system_bus_socket"));
    wait.push_back({callers.back()->bus.fd(), POLLIN, 0});
  }
  std::vector<double> took;
  unsigned sent = 0, answered = 0;
  for (; sent < options.callers; ++sent) send(*callers[sent], call);
  while (answered < options.count) {
    if (options.callers > 1) poll(wait.data(), wait.size(), -1);
    for (unsigned i = 0; i < options.callers && answered < options.count; ++i) {
      if (options.callers > 1 && (wait[i].revents & POLLIN) == 0) continue;
      Caller& caller = *callers[i];
      do {
        const wire::Incoming message = caller.bus.next();
        if (message.repliesTo != caller.serial) continue;
        if (message.type != wire::reply) {
          fprintf(stderr, "trelvik-caller: refused: %.*s\n", static_cast<int>(message.body.size()),
                  message.body.data());
          exit(1);
        }
        took.push_back(microseconds(Clock::now() - caller.sent));
        ++answered;
        if (sent++ < options.count) send(caller, call);
      } while (caller.bus.buffered());
    }
  }
  return took;
}

std::vector<double> callDebug(const Options& options) {
  const sockaddr_un server{AF_UNIX, "/tmp/socket-server"};
  const sockaddr_un client{AF_UNIX, "/tmp/socket-client"};
  const int fd = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
  unlink(client.sun_path);
  if (bind(fd, reinterpret_cast<const sockaddr*>(&client), sizeof client) != 0) wire::fail("debug client");
  OtnIpcMsg record{};
  record.msgType = FLUSH_CMD;
  std::vector<double> took;
  for (unsigned i = 0; i < options.count; ++i) {
    const Clock::time_point start = Clock::now();
    if (sendto(fd, &record, sizeof record, 0, reinterpret_cast<const sockaddr*>(&server), sizeof server) <
            0 ||
        recv(fd, &record, sizeof record, 0) != sizeof record)
      wire::fail("debug request");
    took.push_back(microseconds(Clock::now() - start));
  }
  return took;
}

bool parse(int argc, char* argv[], Options& options) {
  for (int i = 1; i < argc; ++i) {
    const std::string_view option = argv[i];
    if (option == "--query" || option == "--debug") {
      (option == "--query" ? options.query : options.debug) = true;
      continue;
    }
    unsigned* value = option == "--callers"   ? &options.callers
                      : option == "--count"   ? &options.count
                      : option == "--records" ? &options.records
                                              : nullptr;
    if (value == nullptr || ++i == argc) return false;
    const std::string_view text = argv[i];
    const auto parsed = std::from_chars(text.data(), text.data() + text.size(), *value);
    if (parsed.ec != std::errc{} || parsed.ptr != text.data() + text.size() || *value == 0) return false;
  }
  return options.count >= options.callers && options.records <= 2;
}

}  // namespace

int main(int argc, char* argv[]) {
  Options options;
  if (!parse(argc, argv, options)) {
    fputs("usage: trelvik-caller [--callers N] [--count N] [--records 1|2 | --query | --debug]\n", stderr);
    return 2;
  }
  const Clock::time_point start = Clock::now();
  std::vector<double> took = options.debug ? callDebug(options) : callBus(options);
  const double seconds = microseconds(Clock::now() - start) / 1e6;
  const auto answered = static_cast<double>(took.size());
  took.erase(took.begin(), took.begin() + static_cast<std::ptrdiff_t>(took.size() / 10));
  std::sort(took.begin(), took.end());
  const auto quantile = [&took](double part) {
    return took[static_cast<size_t>(part * static_cast<double>(took.size() - 1))];
  };
  printf("{\"p50\": %.1f, \"p90\": %.1f, \"p99\": %.1f, \"most\": %.1f, \"rate\": %.0f}\n", quantile(0.5),
         quantile(0.9), quantile(0.99), took.back(), answered / seconds);
  return 0;
}
