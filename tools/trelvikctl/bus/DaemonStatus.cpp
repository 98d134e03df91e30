#include "bus/DaemonStatus.h"

#include <algorithm>
#include <cstdlib>
#include <ctime>
#include <sstream>

#include "base/Values.h"

namespace ctl {
namespace {

constexpr const char* names[] = {
    "version",          "boardName",       "boardMac",        "options",         "opsConnected",
    "issReady",         "sinceMs",         "ringUsed",        "outstandingType", "outstandingSource",
    "outstandingAgeMs", "requestsWaiting", "workers",         "messagesSent",    "messagesReceived",
    "reconnects",       "longestAnswerMs", "meanAnswerMicros"};

std::vector<InterfaceCounts> parseCounts(const std::string& lines) {
  std::vector<InterfaceCounts> counts;
  std::istringstream text(lines);
  for (std::string line; std::getline(text, line);) {
    std::istringstream words(line);
    InterfaceCounts one;
    words >> one.name;
    // A column that an older daemon lacks stays 0.
    words >> one.received >> one.answered >> one.refusedByIss >> one.refusedByRing >> one.neverAnswered;
    if (!one.name.empty()) counts.push_back(std::move(one));
  }
  return counts;
}

/// Local time of a CLOCK_REALTIME in milliseconds.
std::string when(const std::string& milliseconds) {
  const time_t seconds = static_cast<time_t>(strtoll(milliseconds.c_str(), nullptr, 10) / 1000);
  tm local{};
  char text[32] = "";
  if (localtime_r(&seconds, &local) != nullptr) strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%S%z", &local);
  return text;
}

uint64_t number(const DaemonStatus& status, const char* name) {
  return strtoull(status.text(name).c_str(), nullptr, 10);
}

}  // namespace

std::string DaemonStatus::text(const std::string& name) const {
  const auto found = std::ranges::find(values, name, &BusArgument::name);
  return found == values.end() ? "" : ctl::toNode(found->value).text();
}

DaemonStatus parseStatus(const std::vector<BusValue>& reply) {
  DaemonStatus status;
  for (size_t i = 0; i < reply.size(); ++i) {
    if (i < std::size(names)) {
      status.values.push_back({names[i], reply[i]});
    } else if (const auto* lines = std::get_if<std::string>(&reply[i])) {
      status.interfaces = parseCounts(*lines);
      break;
    }
  }
  return status;
}

std::string health(const DaemonStatus& status) {
  // ISS takes seconds for a start or a stop of it, and milliseconds for all else.
  constexpr uint64_t longMs = 5000;
  if (status.text("opsConnected") == "false") {
    return "no connection to ISS: requests wait until it is back. See trelvikctl doctor";
  }
  if (status.text("issReady") == "false") {
    return "ISS is connected and has not said that it is ready: requests wait. See ISS's own log";
  }
  const uint64_t age = number(status, "outstandingAgeMs");
  if (age > longMs) {
    return "ISS has not answered " + typeText(static_cast<uint32_t>(number(status, "outstandingType"))) +
           " of " + status.text("outstandingSource") + " for " + std::to_string(age / 1000) +
           " s, and everything behind it waits. See whether ISS is alive; restart it or the daemon";
  }
  return "good";
}

Node toNode(const DaemonStatus& status) {
  Node node = Node::object();
  if (!status.values.empty()) node.add("health", health(status));
  for (const BusArgument& value : status.values) {
    node.add(value.name, toNode(value.value));
    if (value.name == "sinceMs") node.add("since", when(status.text("sinceMs")));
  }
  Node rows = Node::list();
  for (const InterfaceCounts& counts : status.interfaces) {
    rows.add(Node::object()
                 .add("interface", counts.name)
                 .add("received", counts.received)
                 .add("answered", counts.answered)
                 .add("refusedByIss", counts.refusedByIss)
                 .add("refusedByRing", counts.refusedByRing)
                 .add("neverAnswered", counts.neverAnswered));
  }
  node.add("interfaces", std::move(rows));
  return node;
}

Verdict judge(const InterfaceCounts& before, const InterfaceCounts& after) {
  const bool byIss = after.refusedByIss != before.refusedByIss;
  const bool byRing = after.refusedByRing != before.refusedByRing;
  if (!byIss && !byRing) return Verdict::accepted;
  const bool alone = after.received - before.received <= 1 && after.answered - before.answered <= 1;
  if (!alone || (byIss && byRing)) return Verdict::cannotTell;
  return byIss ? Verdict::refused : Verdict::ringFull;
}

std::optional<InterfaceCounts> countsOf(const DaemonStatus& status, const std::string& interface) {
  const auto found = std::ranges::find(status.interfaces, interface, &InterfaceCounts::name);
  if (found == status.interfaces.end()) return std::nullopt;
  return *found;
}

}  // namespace ctl
