// iss-sim: the ISS simulator. Exit status: 0 after SIGTERM or SIGINT, 1 when it cannot serve, 2 for a wrong
// command line.
#include <sys/signalfd.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <cstring>

#include "Capture.h"
#include "Directive.h"
#include "Options.h"
#include "Replay.h"
#include "Scenario.h"

namespace {

/// Whoever reads the output may go away at any time. Returns a descriptor that tells of a stop.
int catchSignals() {
  signal(SIGPIPE, SIG_IGN);
  sigset_t stopSignals;
  sigemptyset(&stopSignals);
  sigaddset(&stopSignals, SIGTERM);
  sigaddset(&stopSignals, SIGINT);
  sigprocmask(SIG_BLOCK, &stopSignals, nullptr);
  const int stopFd = signalfd(-1, &stopSignals, SFD_CLOEXEC);
  if (stopFd < 0) perror("iss-sim: signalfd");
  return stopFd;
}

int serve(const sim::Options& options) {
  sim::Scenario scenario;
  if (!options.scenario.empty()) {
    if (const sim::Problem problem = scenario.load(options.scenario)) {
      fprintf(stderr, "iss-sim: %s\n", problem->c_str());
      return 2;
    }
  }
  const int stopFd = catchSignals();
  if (stopFd < 0) return 1;
  sim::IssModel model;
  sim::LineOutput output(STDOUT_FILENO);
  sim::CaptureFile capture(output);
  sim::OpsServer server(options.server, model, output);
  sim::DirectiveInterpreter interpreter(server, model, output);
  std::string reason;
  if (!server.listen(reason)) {
    fprintf(stderr, "iss-sim: %s\n", reason.c_str());
    return 1;
  }
  if (!options.record.empty()) {
    if (const sim::Problem problem = capture.open(options.record, server.port())) {
      fprintf(stderr, "iss-sim: %s\n", problem->c_str());
      return 2;
    }
    server.addObserver(capture);
  }
  scenario.start(interpreter);
  server.run(stopFd);
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc > 1 && strcmp(argv[1], "replay") == 0) {
    const int stopFd = catchSignals();
    return stopFd < 0 ? 1 : sim::replayCommand(argc, argv, stopFd);
  }
  sim::Options options;
  switch (sim::parseCommandLine(argc, argv, options)) {
    case sim::CommandLine::help:
      fputs(sim::usage, stdout);
      return 0;
    case sim::CommandLine::wrong:
      fputs(sim::usage, stderr);
      return 2;
    case sim::CommandLine::run:
      break;
  }
  return serve(options);
}
