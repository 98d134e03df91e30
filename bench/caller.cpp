// Calls the daemon, or a floor in its place, and prints how long the answers took.
//
//   trelvik-caller probe|alone|rule|query|debug|exchange [--callers N] [--count N]
//
// `probe` is a request of one record, `rule` one of two records, `alone` the first of these two by itself,
// `query` asks for the trace level; N callers are N connections to the bus with one call under way each.
// `debug` uses the debug socket. `exchange` asks nobody: it exchanges records with OPS itself. A tenth of
// COUNT goes before to warm up, and is not counted.
//
// Prints one line of JSON: how many were answered in how many seconds, its own CPU time in microseconds, and
// how many microseconds an answer took at 0, 1, ... 100 percent of them. Exit status: 0 = all answered, 1 =
// not, 2 = usage.
#include <sys/epoll.h>

#include <charconv>
#include <chrono>
#include <ctime>
#include <memory>

#include "ops.h"

namespace {

using Clock = std::chrono::steady_clock;

struct Options {
  std::string_view kind;
  unsigned callers = 1;
  unsigned count = 10000;
};

double microseconds(Clock::duration time) {
  return std::chrono::duration<double, std::micro>(time).count();
}

double ownCpu() {
  timespec used{};
  clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &used);
  return static_cast<double>(used.tv_sec) * 1e6 + static_cast<double>(used.tv_nsec) / 1e3;
}

/// What the answers took, from the end of the warming up.
class Answers {
 public:
  explicit Answers(const Options& options) : m_warmUp(options.count / 10), m_count(options.count + m_warmUp) {
    if (m_warmUp == 0) start();
  }
  unsigned count() const { return m_count; }
  bool complete() const { return m_answered == m_count; }
  void add(Clock::duration took) {
    if (m_answered++ >= m_warmUp) m_took.push_back(microseconds(took));
    if (m_answered == m_warmUp) start();
    if (complete()) {
      m_seconds = microseconds(Clock::now() - m_start) / 1e6;
      m_cpu = ownCpu() - m_cpu;
    }
  }
  void print() {
    std::sort(m_took.begin(), m_took.end());
    printf("{\"answered\": %u, \"counted\": %zu, \"seconds\": %.6f, \"cpu\": %.1f, \"percentiles\": [",
           m_answered, m_took.size(), m_seconds, m_cpu);
    for (size_t percent = 0; percent <= 100; ++percent)
      printf("%s%.1f", percent == 0 ? "" : ", ", m_took[(m_took.size() - 1) * percent / 100]);
    puts("]}");
  }

 private:
  void start() {
    m_start = Clock::now();
    m_cpu = ownCpu();
  }

  unsigned m_warmUp;
  unsigned m_count;
  unsigned m_answered = 0;
  Clock::time_point m_start;
  double m_seconds = 0;
  double m_cpu = 0;
  std::vector<double> m_took;
};

/// The body of a call, little-endian. An empty text takes the words {0} and four bytes of end and padding.
std::string body(std::initializer_list<uint32_t> words) {
  std::string bytes;
  for (const uint32_t value : words) bytes.append(reinterpret_cast<const char*>(&value), sizeof value);
  return bytes;
}

std::vector<char> makeCall(std::string_view kind) {
  const char* object = "IssSetLanWanAsync";
  const char* interfaceName = "otn.OBsetPortParams_1_0";
  const char* method = "setPortParams";
  const char* types = "uuuubuuu";
  std::string arguments = body({3, 6, 5, 1000, 0, 100, 0, 0});
  if (kind == "query") {
    object = "ob_common", interfaceName = "otn.OBcommon_1_0", method = "get_trace_level", types = "";
    arguments.clear();
  } else if (kind == "rule" || kind == "alone") {
    // An MSTP rule on the LAN side, and a flush behind it unless it is alone; the data VLANs are an empty
    // text.
    const uint32_t flush = kind == "rule";
    object = "IssSetIssMgrAsync", interfaceName = "otn.OBsetIssMgrParams_1_0", method = "setIssMgrParams";
    types = "uuuuiuuuuuusuuuqii";
    arguments =
        body({1, 0, 5, 0, flush, 7, 1, 3, 679, 0, 0, 0}) + std::string(4, 0) + body({0, 0, 0, 0, 0, 0});
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
  Caller() : bus(wire::busAddress()) {}
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

/// Waits for the caller's next message, and for what came with it. True when its call is answered.
bool answered(Caller& caller) {
  bool came = false;
  do {
    const wire::Incoming message = caller.bus.next();
    if (message.repliesTo != caller.serial) continue;
    if (message.type != wire::reply) {
      fprintf(stderr, "trelvik-caller: refused: %.*s\n", static_cast<int>(message.body.size()),
              message.body.data());
      exit(1);
    }
    came = true;
  } while (caller.bus.buffered());
  return came;
}

void callBus(const Options& options, Answers& answers) {
  std::vector<char> call = makeCall(options.kind);
  std::vector<std::unique_ptr<Caller>> callers;
  const int ready = epoll_create1(EPOLL_CLOEXEC);
  for (unsigned i = 0; i < options.callers; ++i) {
    callers.push_back(std::make_unique<Caller>());
    epoll_event event{};
    event.events = EPOLLIN;
    event.data.ptr = callers.back().get();
    epoll_ctl(ready, EPOLL_CTL_ADD, callers.back()->bus.fd(), &event);
  }
  unsigned sent = 0;
  for (; sent < options.callers; ++sent) send(*callers[sent], call);
  std::vector<epoll_event> events(options.callers);
  events[0].data.ptr = callers[0].get();
  while (!answers.complete()) {
    // One caller waits in the read itself.
    const int count =
        options.callers == 1 ? 1 : epoll_wait(ready, events.data(), static_cast<int>(options.callers), -1);
    for (int i = 0; i < count; ++i) {
      Caller& caller = *static_cast<Caller*>(events[static_cast<size_t>(i)].data.ptr);
      if (!answered(caller)) continue;
      answers.add(Clock::now() - caller.sent);
      if (sent++ < answers.count()) send(caller, call);
    }
  }
}

void callDebug(Answers& answers) {
  const sockaddr_un server{AF_UNIX, "/tmp/socket-server"};
  const sockaddr_un client{AF_UNIX, "/tmp/socket-client"};
  const int fd = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
  unlink(client.sun_path);
  if (bind(fd, reinterpret_cast<const sockaddr*>(&client), sizeof client) != 0) wire::fail("debug client");
  OtnIpcMsg record{};
  record.msgType = FLUSH_CMD;
  while (!answers.complete()) {
    const Clock::time_point start = Clock::now();
    if (sendto(fd, &record, sizeof record, 0, reinterpret_cast<const sockaddr*>(&server), sizeof server) <
            0 ||
        recv(fd, &record, sizeof record, 0) != sizeof record)
      wire::fail("debug request");
    answers.add(Clock::now() - start);
  }
  unlink(client.sun_path);
}

void exchangeRecords(Answers& answers) {
  const int ops = wire::connectToOps();
  OtnIpcMsg record{};
  record.msgType = FLUSH_CMD;
  while (!answers.complete()) {
    const Clock::time_point start = Clock::now();
    wire::exchange(ops, record);
    answers.add(Clock::now() - start);
  }
}

bool parse(int argc, char* argv[], Options& options) {
  if (argc < 2) return false;
  options.kind = argv[1];
  const std::string_view kinds[] = {"probe", "alone", "rule", "query", "debug", "exchange"};
  if (std::find(std::begin(kinds), std::end(kinds), options.kind) == std::end(kinds)) return false;
  for (int i = 2; i < argc; i += 2) {
    const std::string_view option = argv[i];
    unsigned* value = option == "--callers" ? &options.callers
                      : option == "--count" ? &options.count
                                            : nullptr;
    if (value == nullptr || i + 1 == argc) return false;
    const std::string_view text = argv[i + 1];
    const auto parsed = std::from_chars(text.data(), text.data() + text.size(), *value);
    if (parsed.ec != std::errc{} || parsed.ptr != text.data() + text.size() || *value == 0) return false;
  }
  return options.count >= options.callers;
}

}  // namespace

int main(int argc, char* argv[]) {
  Options options;
  if (!parse(argc, argv, options)) {
    fputs("usage: trelvik-caller probe|alone|rule|query|debug|exchange [--callers N] [--count N]\n", stderr);
    return 2;
  }
  Answers answers(options);
  if (options.kind == "debug") {
    callDebug(answers);
  } else if (options.kind == "exchange") {
    exchangeRecords(answers);
  } else {
    callBus(options, answers);
  }
  answers.print();
  return 0;
}
