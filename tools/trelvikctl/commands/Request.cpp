#include "commands/Request.h"

#include <algorithm>

#include "bus/DaemonStatus.h"

namespace ctl {
namespace {

constexpr std::chrono::seconds statusTimeout{5};

/// The interface's counts as the daemon tells them now; nothing where it tells none. `outcome` is other than
/// done when the daemon cannot be called at all.
std::optional<InterfaceCounts> lookAtCounts(Bus& bus, const Plan& plan, Outcome& outcome,
                                            std::chrono::milliseconds timeout) {
  const Reply reply = bus.call(getStatus(), std::min<std::chrono::milliseconds>(timeout, statusTimeout));
  const auto isError = [&reply](const char* last) {
    return reply.errorName == std::string("org.freedesktop.DBus.Error.") + last;
  };
  // A daemon without diagnostics can still be called.
  if (isError("UnknownObject") || isError("UnknownInterface") || isError("UnknownMethod"))
    return std::nullopt;
  if (!reply.answered()) {
    outcome = noAnswer(reply, getStatus(), plan.what, timeout);
    return std::nullopt;
  }
  return countsOf(parseStatus(reply.values), plan.call.path.substr(plan.call.path.rfind('/') + 1));
}

std::vector<BusArgument> named(const BusCall& call, const std::vector<BusValue>& values) {
  std::vector<BusArgument> result;
  for (size_t i = 0; i < values.size(); ++i) {
    const bool known = i < call.arguments.size();
    result.push_back({known ? call.arguments[i].name : "value" + std::to_string(i + 1), values[i]});
  }
  return result;
}

/// The ids that stand for a rule that the daemon itself refused.
bool refusedByDaemon(const std::vector<BusArgument>& reply) {
  size_t without = 0;
  for (const BusArgument& argument : reply) {
    if ((argument.name == "fpId0" || argument.name == "fpId1") && argument.value == BusValue(int32_t{-1})) {
      ++without;
    }
  }
  return without == 2;
}

/// The ids that ISS gave an entry: what a person needs of a reply that repeats the request.
std::string idsOf(const std::vector<BusArgument>& reply) {
  std::string text;
  for (const BusArgument& argument : reply) {
    if (!argument.name.starts_with("fpId") || argument.value == BusValue(int32_t{0})) continue;
    text += argument.name + "  " + toNode(argument.value).text() + '\n';
  }
  return text;
}

Outcome verdictOf(const Plan& plan, const std::optional<InterfaceCounts>& before,
                  const std::optional<InterfaceCounts>& after) {
  if (plan.messages.empty()) return {Exit::done, plan.what + ": answered; ISS was not asked"};
  if (!before || !after) {
    return {Exit::unknown,
            plan.what +
                ": answered, but whether ISS accepted it cannot be told: the daemon keeps no "
                "counts of refusals. Look for \"ISS refused\" in its log (journalctl -t Trelvik)"};
  }
  switch (judge(*before, *after)) {
    case Verdict::refused:
      return failed(plan.what +
                    ": ISS refused it. Its reason is in the daemon's log (journalctl -t Trelvik), "
                    "behind \"ISS refused\"; put right what it names and try again");
    case Verdict::ringFull:
      return failed(plan.what +
                    ": the daemon's ring was full, and nothing was sent. Try again once ISS answers "
                    "(trelvikctl status)");
    case Verdict::cannotTell:
      return failed(plan.what +
                    ": a request of this interface was refused, and others called it at the same "
                    "time: which one it was stands in the daemon's log (journalctl -t Trelvik)");
    case Verdict::accepted:
      break;
  }
  return {Exit::done, plan.what + ": done, ISS accepted it"};
}

}  // namespace

Outcome showCall(const BusCall& call) {
  Outcome outcome;
  outcome.data.add("call", busctlLine(call)).add("arguments", toNode(call.arguments));
  outcome.text = busctlLine(call) + '\n';
  return outcome;
}

Outcome callDaemon(Context& context, Bus& bus, const BusCall& call, const std::string& what,
                   std::vector<BusValue>& values) {
  const std::chrono::milliseconds timeout = context.timeoutOr(usualTimeout);
  Reply reply = bus.call(call, timeout);
  if (!reply.answered()) return noAnswer(reply, call, what, timeout);
  values = std::move(reply.values);
  return {};
}

Outcome carryOut(Context& context, const Plan& plan) {
  if (context.dryRun) {
    Outcome shown;
    shown.data = toNode(plan);
    shown.text = toText(plan);
    return shown;
  }
  Bus bus;
  if (Outcome opened = bus.open(); opened.status != Exit::done) return opened;
  const std::chrono::milliseconds timeout = context.timeoutOr(usualTimeout);
  Outcome outcome;
  const std::optional<InterfaceCounts> before = lookAtCounts(bus, plan, outcome, timeout);
  if (outcome.status != Exit::done) return outcome;
  if (!plan.whyNoAnswer.empty()) {
    if (!bus.send(plan.call, timeout)) {
      return {Exit::noDaemon, plan.what + ": the daemon went away; start it (systemctl start trelvik)"};
    }
    return {Exit::unknown, plan.what + ": sent, and there will be no answer: " + plan.whyNoAnswer};
  }
  const Reply reply = bus.call(plan.call, timeout);
  if (!reply.answered()) return noAnswer(reply, plan.call, plan.what, timeout);
  const std::vector<BusArgument> values = named(plan.call, reply.values);
  if (refusedByDaemon(values)) {
    outcome = failed(plan.what +
                     ": the daemon refused it: it knows no such entry to delete, or its ring is full. "
                     "Its log says which (journalctl -t Trelvik)");
  } else {
    Outcome unreachable;  // the request was answered: what a second look says must not hide that
    outcome = verdictOf(plan, before, lookAtCounts(bus, plan, unreachable, timeout));
  }
  outcome.data.add("request", plan.what).add("reply", toNode(values));
  outcome.text = outcome.status == Exit::failed ? "" : idsOf(values);
  return outcome;
}

}  // namespace ctl
