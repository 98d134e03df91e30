// iss-sim: the ISS simulator, and the commands that ask a running one. Exit status: 0 after SIGTERM or SIGINT
// and for a command carried out, 1 when it cannot serve or no simulator answers, 2 for a wrong command line,
// scenario or request.
#include <sys/signalfd.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <cstring>
#include <string>

#include "capture/Capture.h"
#include "capture/Replay.h"
#include "control/Control.h"
#include "control/ControlClient.h"
#include "control/ControlPath.h"
#include "control/Show.h"
#include "main/Options.h"
#include "scenario/CheckCommand.h"
#include "scenario/DirectiveInterpreter.h"
#include "scenario/Scenario.h"
#include "scenario/ShowScenario.h"

namespace {

/// Ignores SIGPIPE: the reader of the output may go away. Returns a descriptor that is readable after a stop.
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

int fail(const std::string& reason, int status) {
  fprintf(stderr, "iss-sim: %s\n", reason.c_str());
  return status;
}

int serve(const sim::Options& options) {
  sim::Scenario scenario;
  if (!options.scenario.empty()) {
    std::vector<std::string> mistakes;
    if (const sim::Problem problem = scenario.load(options.scenario, mistakes)) return fail(*problem, 2);
    for (const std::string& mistake : mistakes) fprintf(stderr, "%s\n", mistake.c_str());
    if (!mistakes.empty()) return 2;
  }
  const int stopFd = catchSignals();
  if (stopFd < 0) return 1;
  sim::EventLoop loop;
  sim::IssModel model;
  sim::LineOutput output(STDOUT_FILENO);
  sim::CaptureFile capture(output);
  sim::Watch watch;
  sim::OpsServer server(options.server, loop, model, output);
  server.addObserver(watch);
  sim::DirectiveInterpreter interpreter(server, model, output);
  const auto show = [&](const sim::ShowRequest& request) -> std::optional<sim::View> {
    if (request.subject == "faults") return sim::showFaults(server.faults());
    if (request.subject == "schedule") return sim::showSchedule(server, interpreter, sim::Clock::now());
    return sim::show(request.subject, model, watch.counts(), request.ports);
  };
  sim::Control control(loop, show, watch, [&](std::string_view line) { return interpreter.apply(line); });
  std::string reason;
  // The control socket is opened before the port, unless its name holds the number of a port not chosen yet.
  const bool toldWhere = !options.control.empty();
  const auto listenForControl = [&](uint16_t port) {
    if (toldWhere) return control.listen(options.control, reason);
    if (const sim::Problem problem = sim::makeControlDirectory()) {
      reason = *problem;
      return false;
    }
    return control.listen(sim::defaultControlPath(port), reason);
  };
  bool controlled = (toldWhere || options.server.port != 0) && listenForControl(options.server.port);
  if (toldWhere && !controlled) return fail(reason, 1);
  const std::string noControl = reason;
  if (!server.listen(reason)) return fail(reason, 1);
  reason = noControl;
  if (!controlled && reason.empty()) controlled = listenForControl(server.port());
  if (!controlled) output.line("no control socket: " + reason);
  if (!options.record.empty()) {
    if (const sim::Problem problem = capture.open(options.record, server.port())) return fail(*problem, 2);
    server.addObserver(capture);
  }
  scenario.start(interpreter);
  loop.run(stopFd);
  return 0;
}

/// "iss-sim help COMMAND" is "iss-sim COMMAND --help".
int help(const char* command) {
  char program[] = "iss-sim";
  char option[] = "--help";
  std::string word(command);
  char* arguments[] = {program, word.data(), option, nullptr};
  if (word == "replay") return sim::replayCommand(3, arguments, -1);
  if (word == "check") return sim::checkCommand(3, arguments);
  if (sim::isControlCommand(command)) return sim::controlCommand(3, arguments);
  return fail("no command " + word + " to help with, only show, watch, inject, replay or check", 2);
}

int printUsage() {
  fputs(sim::usage, stdout);
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc > 1 && strcmp(argv[1], "help") == 0) return argc > 2 ? help(argv[2]) : printUsage();
  if (argc > 1 && strcmp(argv[1], "check") == 0) return sim::checkCommand(argc, argv);
  if (argc > 1 && strcmp(argv[1], "replay") == 0) {
    const int stopFd = catchSignals();
    return stopFd < 0 ? 1 : sim::replayCommand(argc, argv, stopFd);
  }
  if (argc > 1 && sim::isControlCommand(argv[1])) return sim::controlCommand(argc, argv);
  sim::Options options;
  if (const sim::Problem problem = sim::parseCommandLine(argc, argv, options)) return fail(*problem, 2);
  if (options.help) return printUsage();
  if (options.version) {
    puts("iss-sim " ISS_SIM_VERSION);
    return 0;
  }
  return serve(options);
}
