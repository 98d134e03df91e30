#include "control/ControlClient.h"

#include <getopt.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <string_view>

#include "base/PeerUser.h"
#include "base/UnixAddress.h"
#include "base/Words.h"
#include "control/ControlPath.h"
#include "control/ShowRequest.h"

namespace sim {
namespace {

int fail(const std::string& reason, int status) {
  fprintf(stderr, "iss-sim: %s\n", reason.c_str());
  return status;
}

bool writeAll(int fd, std::string_view bytes) {
  while (!bytes.empty()) {
    const ssize_t n = ::write(fd, bytes.data(), bytes.size());
    if (n < 0 && errno == EINTR) continue;
    if (n <= 0) return false;
    bytes.remove_prefix(static_cast<size_t>(n));
  }
  return true;
}

/// The bytes that come next; empty at the end.
std::string_view receive(int fd, char (&buffer)[65536]) {
  ssize_t n = 0;
  do {
    n = recv(fd, buffer, sizeof buffer, 0);
  } while (n < 0 && errno == EINTR);
  return {buffer, n > 0 ? static_cast<size_t>(n) : 0};
}

int copyAnswer(int fd) {
  static char buffer[65536];
  std::string head;
  while (head.find('\n') == std::string::npos) {
    const std::string_view bytes = receive(fd, buffer);
    if (bytes.empty()) return fail("the simulator ended before it answered", 1);
    head += bytes;
  }
  const size_t end = head.find('\n');
  if (head.compare(0, end, "ok") != 0) {
    constexpr std::string_view word = "error ";
    const std::string answer = head.substr(0, end);
    return fail(answer.starts_with(word) ? answer.substr(word.size()) : answer, 2);
  }
  // Whoever reads the output may have had enough.
  if (!writeAll(STDOUT_FILENO, std::string_view(head).substr(end + 1))) return 0;
  for (std::string_view bytes; !(bytes = receive(fd, buffer)).empty();) {
    if (!writeAll(STDOUT_FILENO, bytes)) return 0;
  }
  return 0;
}

/// Sends one request to the simulator whose control socket this is, and copies its answer to standard output
/// until the simulator ends it.
int requestOfSimulator(const std::string& path, const std::string& request) {
  sockaddr_un address;
  if (!fillAddress(path, address)) return fail(path + ": no path for a socket", 2);
  const int fd = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
  if (fd < 0 || connect(fd, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
    const std::string reason = strerror(errno);
    if (fd >= 0) ::close(fd);
    return fail("no simulator at " + path + ": " + reason, 1);
  }
  // Root may ask any user's simulator; others must not believe a stranger's.
  const std::optional<uid_t> user = socketUser(fd);
  if (geteuid() != 0 && !(user && mayUse(*user))) {
    ::close(fd);
    return fail(path + ": is served by " + (user ? "user " + std::to_string(*user) : "an unknown user"), 1);
  }
  const std::string line = request + '\n';
  const ssize_t sent = ::send(fd, line.data(), line.size(), MSG_NOSIGNAL);
  // A request that was refused before all of it was sent has its answer all the same.
  const int status = sent < 0 && errno != EPIPE ? fail(path + ": " + strerror(errno), 1) : copyAnswer(fd);
  ::close(fd);
  return status;
}

constexpr const char* controlUsage =
    "Usage: iss-sim show SUBJECT [PORTS] [--json] [OPTION]...\n"
    "       iss-sim watch [--json] [OPTION]...\n"
    "       iss-sim inject DIRECTIVE [OPTION]...\n"
    "Asks a running simulator: shows what it knows, shows each message as it passes, or has it carry out a\n"
    "directive, the line of a scenario. SUBJECT is one of vlans, ports, interfaces, tunnels, rules, synce, "
    "lldp,\n"
    "smartsfp, redundancy, counters, messages, faults and schedule; PORTS, for ports only, is 5 or 1-4,7.\n"
    "\n"
    "  --json           JSON in place of text\n"
    "  --port N         the simulator on 127.0.0.1:N (default 8000)\n"
    "  --control PATH   the simulator with this control socket (default /tmp/iss-sim-UID/N.sock)\n"
    "  -h, --help       print this and exit\n";

struct ControlOptions {
  std::string path;
  uint32_t port = 8000;
  bool json = false;
  bool help = false;
};

/// What is wrong with the options, if anything; optind is then at the first word that is none.
Problem parseOptions(int argc, char* const* argv, bool isInject, ControlOptions& options) {
  static const option longOptions[] = {{"control", required_argument, nullptr, 'c'},
                                       {"port", required_argument, nullptr, 'p'},
                                       {"json", no_argument, nullptr, 'j'},
                                       {"help", no_argument, nullptr, 'h'},
                                       {nullptr, 0, nullptr, 0}};
  optind = 0;
  opterr = 0;
  for (int found = 0; (found = getopt_long(argc, argv, ":h", longOptions, nullptr)) != -1;) {
    switch (found) {
      case 'c':
        options.path = optarg;
        break;
      case 'p':
        if (!parseNumber(optarg, UINT16_MAX, options.port))
          return "--port: bad value \"" + std::string(optarg) + '"';
        break;
      case 'j':
        if (isInject) return "inject takes no --json";
        options.json = true;
        break;
      case 'h':
        options.help = true;
        return {};
      case ':':
        return std::string(argv[optind - 1]) + " needs a value";
      default:
        return "unknown option " + std::string(argv[optind - 1]);
    }
  }
  return {};
}

}  // namespace

bool isControlCommand(const char* word) {
  return strcmp(word, "show") == 0 || strcmp(word, "watch") == 0 || strcmp(word, "inject") == 0;
}

int controlCommand(int argc, char* const* argv) {
  const std::string command = argv[1];
  ControlOptions options;
  // The command takes the place of the program's name.
  if (const Problem problem = parseOptions(argc - 1, argv + 1, command == "inject", options)) {
    return fail(*problem, 2);
  }
  if (options.help) {
    fputs(controlUsage, stdout);
    return 0;
  }
  const int count = argc - 1 - optind;
  char* const* const words = argv + 1 + optind;
  if (command == "show" && count == 0) return fail("show takes one of " + std::string(showSubjects), 2);
  if (command == "watch" && count != 0) return fail("watch takes no \"" + std::string(words[0]) + '"', 2);
  if (command == "inject" && count == 0) return fail("inject takes a directive", 2);
  std::string request = command;
  for (int i = 0; i < count; ++i) request += ' ' + std::string(words[i]);
  if (request.find('\n') != std::string::npos) return fail("a request is one line", 2);
  if (options.json) request += " --json";
  signal(SIGPIPE, SIG_IGN);
  if (options.path.empty()) {
    if (const Problem problem = checkControlDirectory()) return fail("no simulator there: " + *problem, 1);
    options.path = defaultControlPath(static_cast<uint16_t>(options.port));
  }
  return requestOfSimulator(options.path, request);
}

}  // namespace sim
