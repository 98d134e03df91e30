#include <getopt.h>
#include <unistd.h>

#include <cstdio>

#include "base/ReadFile.h"
#include "base/Words.h"
#include "capture/Replay.h"

namespace sim {
namespace {

constexpr const char* replayUsage =
    "Usage: iss-sim replay FILE [OPTION]...\n"
    "Plays ISS's side of a capture again to each client that connects; ends with the capture.\n"
    "\n"
    "  --port N   listen on 127.0.0.1:N (default 8000; 0 = any free port)\n"
    "  --fast     without the capture's waits\n"
    "  --quiet    do not print records\n"
    "  -h, --help print this and exit\n";

enum class Parsed : uint8_t { run, help, wrong };

Parsed wrong(const std::string& why) {
  fprintf(stderr, "iss-sim: %s\n", why.c_str());
  return Parsed::wrong;
}

Parsed parse(int argc, char* const* argv, ReplayOptions& options) {
  static const option longOptions[] = {{"port", required_argument, nullptr, 'p'},
                                       {"fast", no_argument, nullptr, 'f'},
                                       {"quiet", no_argument, nullptr, 'q'},
                                       {"help", no_argument, nullptr, 'h'},
                                       {nullptr, 0, nullptr, 0}};
  optind = 2;
  opterr = 0;
  for (int found = 0; (found = getopt_long(argc, argv, ":h", longOptions, nullptr)) != -1;) {
    uint32_t number = 0;
    switch (found) {
      case 'p':
        if (!parseNumber(optarg, UINT16_MAX, number))
          return wrong("--port: bad value \"" + std::string(optarg) + '"');
        options.port = static_cast<uint16_t>(number);
        break;
      case 'f':
        options.fast = true;
        break;
      case 'q':
        options.quiet = true;
        break;
      case 'h':
        return Parsed::help;
      case ':':
        return wrong(std::string(argv[optind - 1]) + " needs a value");
      default:
        return wrong("unknown option " + std::string(argv[optind - 1]));
    }
  }
  if (argc - optind != 1) return wrong("replay needs one capture file");
  options.file = argv[optind];
  return Parsed::run;
}

}  // namespace

int replayCommand(int argc, char* const* argv, int stopFd) {
  ReplayOptions options;
  switch (parse(argc, argv, options)) {
    case Parsed::help:
      fputs(replayUsage, stdout);
      return 0;
    case Parsed::wrong:
      return 2;
    case Parsed::run:
      break;
  }
  constexpr size_t limit = size_t{1} << 30;
  std::string content;
  std::vector<CapturedConnection> connections;
  Problem problem = readFile(options.file, limit, content);
  if (!problem) {
    problem = readCapture(content, connections);
    if (problem) problem->insert(0, options.file + ": ");
  }
  if (problem) {
    fprintf(stderr, "iss-sim: %s\n", problem->c_str());
    return 2;
  }
  LineOutput output(STDOUT_FILENO);
  Replay replay(options, connections, output);
  std::string reason;
  if (!replay.listen(reason)) {
    fprintf(stderr, "iss-sim: %s\n", reason.c_str());
    return 1;
  }
  replay.run(stopFd);
  return 0;
}

}  // namespace sim
