#include "RedundancyState.h"
#include "commands/Command.h"
#include "commands/Request.h"

namespace ctl {
namespace {

Outcome show(Context& context) {
  if (context.dryRun) return showCall(getRedundantState());
  Bus bus;
  if (Outcome opened = bus.open(); opened.status != Exit::done) return opened;
  const std::chrono::milliseconds timeout = context.timeoutOr(usualTimeout);
  const Reply reply = bus.call(getRedundantState(), timeout);
  if (reply.errorName == "org.freedesktop.DBus.Error.ServiceUnknown" ||
      reply.errorName == "org.freedesktop.DBus.Error.NameHasNoOwner") {
    return failed(
        "no redundancy manager is on the bus (nobody owns otn.redundancyManager), so the node's state "
        "is not known: start it. ISS keeps the state that it was told last");
  }
  if (!reply.answered()) return noAnswer(reply, getRedundantState(), "redundancy state", timeout);
  const int32_t* state = reply.values.empty() ? nullptr : std::get_if<int32_t>(&reply.values[0]);
  if (state == nullptr) return failed("the redundancy manager answers with no state: see what it is");
  Outcome outcome;
  outcome.data.add("state", redundancyStateName(*state)).add("number", *state);
  return outcome;
}

}  // namespace

void addRedundancy(Command root) {
  Command redundancy = root.sub("redundancy", "the node's redundancy state");
  redundancy.sub("show", "asks the redundancy manager for it").run(show);
}

}  // namespace ctl
