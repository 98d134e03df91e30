#include <unistd.h>

#include <memory>

#include "bus/DaemonStatus.h"
#include "commands/Command.h"
#include "commands/Request.h"

namespace ctl {
namespace {

Outcome look(Context& context, Bus& bus, Node& status) {
  const std::chrono::milliseconds timeout = context.timeoutOr(usualTimeout);
  const Reply reply = bus.call(getStatus(), timeout);
  const std::string& error = reply.errorName;
  if (error.ends_with(".UnknownObject") || error.ends_with(".UnknownMethod") ||
      error.ends_with(".UnknownInterface")) {
    return failed(
        "this daemon does not tell its status: it is older than this program. Update it; whether it "
        "lives tells \"trelvikctl trace\"");
  }
  if (!reply.answered()) return noAnswer(reply, getStatus(), "status", timeout);
  status = toNode(parseStatus(reply.values));
  return {};
}

Outcome watchStatus(Context& context, Bus& bus) {
  const bool terminal = Output::isTerminal(STDOUT_FILENO) && !context.output.json();
  while (true) {
    Node status;
    Outcome outcome = look(context, bus, status);
    if (bus.interrupted()) return {};
    if (outcome.status != Exit::done) return outcome;
    const std::string clear = terminal ? "\x1b[H\x1b[J" : "";
    context.output.event(clear + toText(status, Output::wantsColour()), status);
    if (!bus.run(Bus::Clock::now() + std::chrono::seconds(1))) {
      return {Exit::noDaemon, "the bus ended the connection; see whether dbus-daemon runs"};
    }
    if (bus.interrupted()) return {};
  }
}

Outcome show(Context& context, bool watch) {
  if (context.dryRun) return showCall(getStatus());
  Bus bus;
  if (Outcome opened = bus.open(); opened.status != Exit::done) return opened;
  if (watch) return watchStatus(context, bus);
  Outcome result;
  Outcome outcome = look(context, bus, result.data);
  return outcome.status == Exit::done ? result : outcome;
}

}  // namespace

void addStatus(Command root) {
  Command command = root.sub("status", "the daemon, its link to ISS, its ring, and counts of each interface");
  auto watch = std::make_shared<bool>(false);
  command.flag("--watch", *watch, "again every second, until Ctrl-C");
  command.run([watch](Context& context) { return show(context, *watch); });
}

}  // namespace ctl
