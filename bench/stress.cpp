// Sends bus requests to a running daemon as fast as it takes them, checks that each is answered exactly once
// (or, in silent mode, asks for no answer), and shows the daemon's resident memory before and after.
//
// The address is DBUS_SYSTEM_BUS_ADDRESS's. Exit status: 0 = as expected, 1 = not, 2 = usage.
#include <systemd/sd-bus.h>

#include <cerrno>
#include <charconv>
#include <chrono>
#include <cinttypes>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <string>
#include <string_view>
#include <vector>

namespace {

constexpr const char* name = "otn.Trelvik";
constexpr const char* path = "/otn/Trelvik/IssSetLanWanAsync";
constexpr const char* interface = "otn.OBsetPortParams_1_0";

struct Options {
  uint32_t count = 100000;
  uint32_t window = 16;  ///< requests under way at once; the ring holds 18 messages
  uint32_t action = 3;   ///< probe: one message to OPS a request
  uint32_t pid = 0;      ///< the daemon's, for its memory
  bool silent = false;
};

struct Run {
  Options options;
  uint32_t sent = 0;
  uint32_t answered = 0;
  uint32_t wrong = 0;
  std::vector<bool> seen;
};

/// Resident memory of the process in KiB; 0 when it cannot be read.
long residentMemory(uint32_t pid) {
  std::ifstream status("/proc/" + std::to_string(pid) + "/status");
  for (std::string line; std::getline(status, line);)
    if (line.starts_with("VmRSS:")) return std::strtol(line.c_str() + 6, nullptr, 10);
  return 0;
}

int onReply(sd_bus_message* reply, void* data, sd_bus_error*) {
  auto& run = *static_cast<Run*>(data);
  uint32_t action = 0, ifType = 0, portNr = 0, ifSpeed = 0, acVlan = 0, extra1 = 0, extra2 = 0;
  int configure = 0;
  if (sd_bus_message_is_method_error(reply, nullptr) != 0 ||
      sd_bus_message_read(reply, "uuuubuuu", &action, &ifType, &portNr, &ifSpeed, &configure, &acVlan,
                          &extra1, &extra2) < 0 ||
      extra1 >= run.options.count || run.seen[extra1]) {
    ++run.wrong;
    return 0;
  }
  run.seen[extra1] = true;
  ++run.answered;
  return 0;
}

sd_bus_message* makeCall(sd_bus* bus, const Run& run) {
  sd_bus_message* call = nullptr;
  if (sd_bus_message_new_method_call(bus, &call, name, path, interface, "setPortParams") < 0) return nullptr;
  sd_bus_message_append(call, "uuuubuuu", run.options.action, 6U, 1 + run.sent % 28, 1000U, 0, 100U, run.sent,
                        7U);
  if (run.options.silent) sd_bus_message_set_expect_reply(call, 0);
  return call;
}

bool sendOne(sd_bus* bus, Run& run) {
  sd_bus_message* call = makeCall(bus, run);
  if (call == nullptr) return false;
  const int result = run.options.silent
                         ? sd_bus_send(bus, call, nullptr)
                         : sd_bus_call_async(bus, nullptr, call, onReply, &run, 60ULL * 1000 * 1000);
  sd_bus_message_unref(call);
  ++run.sent;
  return result >= 0;
}

/// Waits until the daemon has taken all that was sent before: it answers calls in order.
bool barrier(sd_bus* bus) {
  sd_bus_error error{};
  sd_bus_message* reply = nullptr;
  const int result = sd_bus_call_method(bus, name, "/otn/Trelvik/ob_common", "otn.OBcommon_1_0",
                                        "get_trace_level", &error, &reply, "");
  // A full dispatch queue refuses a call: that too shows that the daemon is working on what came before.
  const bool taken = result >= 0 || sd_bus_error_has_name(&error, SD_BUS_ERROR_LIMITS_EXCEEDED) != 0;
  sd_bus_message_unref(reply);
  sd_bus_error_free(&error);
  return taken;
}

bool work(sd_bus* bus, Run& run) {
  const uint32_t silentBatch = 512;
  while (run.sent < run.options.count || (!run.options.silent && run.answered + run.wrong < run.sent)) {
    while (run.sent < run.options.count && run.sent - run.answered - run.wrong < run.options.window) {
      if (!sendOne(bus, run)) return false;
      if (run.options.silent) {
        ++run.answered;
        if (run.sent % silentBatch == 0 && !barrier(bus)) return false;
      }
    }
    const int processed = sd_bus_process(bus, nullptr);
    if (processed < 0) return false;
    if (processed == 0 && sd_bus_wait(bus, 60ULL * 1000 * 1000) < 0) return false;
  }
  return barrier(bus);
}

int usage() {
  fputs("usage: trelvik-stress [--count N] [--window N] [--action N] [--silent] [--pid PID]\n", stderr);
  return 2;
}

bool parse(int argc, char* argv[], Options& options) {
  for (int i = 1; i < argc; ++i) {
    const std::string_view option = argv[i];
    if (option == "--silent") {
      options.silent = true;
      continue;
    }
    uint32_t* value = option == "--count"    ? &options.count
                      : option == "--window" ? &options.window
                      : option == "--action" ? &options.action
                      : option == "--pid"    ? &options.pid
                                             : nullptr;
    if (value == nullptr || ++i == argc) return false;
    const std::string_view text = argv[i];
    const auto parsed = std::from_chars(text.data(), text.data() + text.size(), *value);
    if (parsed.ec != std::errc{} || parsed.ptr != text.data() + text.size()) return false;
  }
  return options.window > 0;
}

}  // namespace

int main(int argc, char* argv[]) {
  Run run;
  if (!parse(argc, argv, run.options)) return usage();
  run.seen.resize(run.options.count);

  sd_bus* bus = nullptr;
  if (const int error = sd_bus_open_system(&bus); error < 0) {
    fprintf(stderr, "trelvik-stress: no bus: %s\n", strerror(-error));
    return 1;
  }
  const long before = residentMemory(run.options.pid);
  const auto start = std::chrono::steady_clock::now();
  const bool done = work(bus, run);
  const double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
  const long after = residentMemory(run.options.pid);
  sd_bus_flush_close_unref(bus);

  printf("sent %" PRIu32 ", %s %" PRIu32 ", wrong %" PRIu32 ", %.1f s, %.0f/s, resident %ld -> %ld KiB\n",
         run.sent, run.options.silent ? "without answer" : "answered once", run.answered, run.wrong, seconds,
         run.sent / seconds, before, after);
  return done && run.wrong == 0 && run.answered == run.options.count ? 0 : 1;
}
