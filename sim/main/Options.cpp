#include "main/Options.h"

#include <getopt.h>

#include <string_view>

#include "base/Words.h"

namespace sim {

const char* const usage =
    "Usage: iss-sim [OPTION]...\n"
    "       iss-sim show | watch | inject | replay | check ... (each with --help of its own)\n"
    "       iss-sim help [COMMAND]\n"
    "Simulates ISS's IPC endpoint OPS on the loopback and prints every record in both directions.\n"
    "\n"
    "  --port N              listen on 127.0.0.1:N (default 8000; 0 = any free port)\n"
    "  --restore RESULT      restore result reported to a new client: ok, fail or none (default ok)\n"
    "  --restore-delay TIME  report it so long after the connection (default 0ms)\n"
    "  --keepalive TIME      time between alive messages (default 10s; 0s = none)\n"
    "  --scenario FILE       carry out the directives of FILE\n"
    "  --record FILE         write what passes on the connection to FILE (pcapng)\n"
    "  --control PATH        control socket (default /tmp/iss-sim-UID/N.sock for user UID and port N)\n"
    "  --quiet               do not print records\n"
    "  --version             print the version and exit\n"
    "  -h, --help            print this and exit\n"
    "\n"
    "TIME is a number with its unit: 250ms, 2s, 5m; without a unit it is in milliseconds.\n";

namespace {

bool parseRestore(std::string_view text, Restore& restore) {
  if (text == "ok") {
    restore = Restore::ok;
  } else if (text == "fail") {
    restore = Restore::fail;
  } else if (text == "none") {
    restore = Restore::none;
  } else {
    return false;
  }
  return true;
}

/// A number without a unit is in milliseconds.
bool parseTimeOption(const std::string& text, std::chrono::milliseconds& time) {
  return parseTime(text, time) || parseTime(text + "ms", time);
}

}  // namespace

Problem parseCommandLine(int argc, char* const* argv, Options& options) {
  static const option longOptions[] = {
      {"port", required_argument, nullptr, 'p'},
      {"restore", required_argument, nullptr, 'r'},
      {"restore-delay", required_argument, nullptr, 'd'},
      {"keepalive", required_argument, nullptr, 'k'},
      {"scenario", required_argument, nullptr, 's'},
      {"record", required_argument, nullptr, 'c'},
      {"control", required_argument, nullptr, 'o'},
      {"quiet", no_argument, nullptr, 'q'},
      {"version", no_argument, nullptr, 'v'},
      {"help", no_argument, nullptr, 'h'},
      {nullptr, 0, nullptr, 0},
  };
  optind = 0;
  opterr = 0;
  int index = 0;
  for (int found = 0; (found = getopt_long(argc, argv, ":h", longOptions, &index)) != -1;) {
    uint32_t number = 0;
    bool good = true;
    switch (found) {
      case 'p':
        good = parseNumber(optarg, UINT16_MAX, number);
        options.server.port = static_cast<uint16_t>(number);
        break;
      case 'r':
        good = parseRestore(optarg, options.server.restore);
        break;
      case 'd':
        good = parseTimeOption(optarg, options.server.restoreDelay);
        break;
      case 'k':
        good = parseTimeOption(optarg, options.server.keepAlive);
        break;
      case 's':
        options.scenario = optarg;
        break;
      case 'c':
        options.record = optarg;
        break;
      case 'o':
        options.control = optarg;
        good = !options.control.empty();
        break;
      case 'q':
        options.server.quiet = true;
        break;
      case 'v':
        options.version = true;
        return {};
      case 'h':
        options.help = true;
        return {};
      case ':':
        return std::string(argv[optind - 1]) + " needs a value";
      default:
        return "unknown option " + std::string(argv[optind - 1]);
    }
    if (!good) return "--" + std::string(longOptions[index].name) + ": bad value \"" + optarg + '"';
  }
  if (optind < argc) return "unexpected argument \"" + std::string(argv[optind]) + '"';
  return {};
}

}  // namespace sim
