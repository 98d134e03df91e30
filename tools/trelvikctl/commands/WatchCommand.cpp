#include <ctime>
#include <memory>

#include "RedundancyState.h"
#include "commands/Command.h"
#include "commands/Request.h"

namespace ctl {
namespace {

constexpr const char* matches[] = {
    "type='signal',sender='otn.Trelvik',interface='otn.OBsetPortParams_1_0'",
    "type='signal',sender='otn.redundancyManager',interface='otn.OBredundantInfo_1_0'",
    "type='signal',sender='org.freedesktop.DBus',member='NameOwnerChanged',arg0='otn.Trelvik'",
};

std::string timeOfDay() {
  timespec now{};
  clock_gettime(CLOCK_REALTIME, &now);
  tm local{};
  localtime_r(&now.tv_sec, &local);
  char day[16];
  char text[32];
  strftime(day, sizeof day, "%H:%M:%S", &local);
  snprintf(text, sizeof text, "%s.%03d", day, static_cast<int>(now.tv_nsec / 1'000'000));
  return text;
}

template <typename T>
T valueAt(const std::vector<BusValue>& values, size_t at, T otherwise) {
  const T* value = at < values.size() ? std::get_if<T>(&values[at]) : nullptr;
  return value == nullptr ? otherwise : *value;
}

const char* upOrDown(bool up) {
  return up ? "up" : "down";
}

/// What a signal says, for people; its values for programs go into `node`.
std::string tell(const std::string& member, const std::vector<BusValue>& values, Node& node) {
  if (member == "issStatusChange") {
    const bool up = valueAt(values, 0, false);
    node.add("event", "iss").add("up", up);
    return std::string("ISS is ") + (up ? "ready" : "down");
  }
  if (member == "linkStatusChange") {
    const auto port = valueAt(values, 0, uint32_t{0});
    const bool admin = valueAt(values, 1, false);
    const bool operational = valueAt(values, 2, false);
    node.add("event", "link").add("interface", port).add("admin", admin).add("operational", operational);
    return "interface " + std::to_string(port) + " is " + upOrDown(operational) + ", set " + upOrDown(admin);
  }
  if (member == "setRedundantState") {
    const auto state = valueAt(values, 0, RedundancyStateUnknown);
    node.add("event", "redundancy").add("state", redundancyStateName(state)).add("number", state);
    return std::string("redundancy state ") + redundancyStateName(state) + " (" + std::to_string(state) + ')';
  }
  if (member == "NameOwnerChanged") {
    const bool there = !valueAt(values, 2, std::string()).empty();
    node.add("event", "daemon").add("there", there);
    return there ? "the daemon has come" : "the daemon has gone";
  }
  node.add("event", member);
  return "signal " + printable(member);
}

Outcome watch(Context& context, uint32_t most) {
  Bus bus;
  if (Outcome opened = bus.open(); opened.status != Exit::done) return opened;
  uint32_t seen = 0;
  const auto receive = [&](const std::string&, const std::string& member,
                           const std::vector<BusValue>& values) {
    if (most != 0 && seen == most) return;
    Node node = Node::object();
    const std::string time = timeOfDay();
    node.add("time", time);
    const std::string line = tell(member, values, node);
    context.output.event(time + ' ' + line, node);
    ++seen;
  };
  for (const char* match : matches) bus.subscribe(match, receive);
  // Asked behind the subscriptions: once it is answered, nothing is missed.
  std::vector<BusValue> values;
  Outcome reached = callDaemon(context, bus, getTraceLevel(), "watch", values);
  if (reached.status != Exit::done) return reached;
  context.output.progress("watching; Ctrl-C ends it");
  const bool alive = bus.run(Bus::Clock::time_point::max(), [&] { return most != 0 && seen >= most; });
  if (!alive) return {Exit::noDaemon, "the bus ended the connection; see whether dbus-daemon runs"};
  return {};
}

}  // namespace

void addWatch(Command root) {
  Command command = root.sub("watch", "shows link, ISS and redundancy signals as they come, until Ctrl-C");
  auto most = std::make_shared<uint32_t>(0);
  command.number("--count", *most, {1, UINT32_MAX}, "ends after so many");
  command.run([most](Context& context) { return watch(context, *most); });
}

}  // namespace ctl
