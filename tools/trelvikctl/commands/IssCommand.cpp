#include <unistd.h>

#include "commands/Command.h"
#include "commands/Request.h"

namespace ctl {
namespace {

/// The daemon itself waits without limit.
constexpr std::chrono::seconds lifeCycleTimeout{360};
constexpr int32_t started = 1;
constexpr int32_t stopped = 2;

Outcome trigger(Context& context, int32_t state) {
  const BusCall call = triggerDataUser(state);
  if (context.dryRun) return showCall(call);
  const bool starts = state == started;
  const std::string what = starts ? "start of ISS" : "stop of ISS";
  Bus bus;
  if (Outcome opened = bus.open(); opened.status != Exit::done) return opened;
  const auto since = Bus::Clock::now();
  const auto seconds = [since] {
    return std::chrono::duration_cast<std::chrono::seconds>(Bus::Clock::now() - since).count();
  };
  const std::chrono::milliseconds timeout = context.timeoutOr(lifeCycleTimeout);
  const Reply reply = bus.call(call, timeout, [&] {
    const auto now = seconds();
    if (!Output::isTerminal(STDERR_FILENO) && now != 1 && now % 10 != 0) return;
    context.output.progress(what + ": waiting for ISS, " + std::to_string(now) + " s");
  });
  if (reply.kind == Reply::Kind::timeout) {
    return {Exit::unknown, what + ": ISS has not said within " + std::to_string(timeout.count() / 1000) +
                               " s that it is " + (starts ? "up" : "down") +
                               ". The daemon waits on, and serves no other call until then; see what "
                               "/etc/rc.d/issStartScript.sh does (screen -ls)"};
  }
  if (!reply.answered()) return noAnswer(reply, call, what, timeout);
  const bool* result = reply.values.size() < 2 ? nullptr : std::get_if<bool>(&reply.values[1]);
  Outcome outcome;
  outcome.data.add("request", what).add("seconds", seconds());
  if (result == nullptr || !*result) {
    outcome.status = Exit::failed;
    outcome.message = what +
                      ": the start script could not be run; see whether screen is installed and "
                      "/etc/rc.d/issStartScript.sh is there (trelvikctl doctor)";
  } else {
    outcome.message = starts ? "ISS is up" : "ISS is down";
  }
  return outcome;
}

}  // namespace

void addIss(Command root) {
  Command iss = root.sub("iss", "starts or stops ISS with the board's start script");
  iss.sub("start", "starts ISS and waits until it says that it is up; 360 s unless --timeout is given")
      .run([](Context& context) { return trigger(context, started); });
  iss.sub("stop", "stops ISS and waits until it says that it is down; same").run([](Context& context) {
    return trigger(context, stopped);
  });
}

}  // namespace ctl
