#include <memory>

#include "commands/Command.h"
#include "commands/Request.h"

namespace ctl {
namespace {

constexpr Name levels[] = {{"critical", 2}, {"error", 3},  {"warning", 4}, {"notice", 5},
                           {"info", 6},     {"debug1", 7}, {"debug2", 8},  {"debug3", 9}};
constexpr uint32_t mostLevel = 10;

Outcome readLevel(Context& context, Bus& bus, int32_t& level) {
  std::vector<BusValue> values;
  Outcome outcome = callDaemon(context, bus, getTraceLevel(), "trace level", values);
  if (outcome.status != Exit::done) return outcome;
  const int32_t* value = values.empty() ? nullptr : std::get_if<int32_t>(&values[0]);
  if (value == nullptr) return failed("the daemon answers with no trace level: is it another version's?");
  level = *value;
  outcome.data.add("level", level).add("name", nameOf(static_cast<uint32_t>(level), levels));
  return outcome;
}

Outcome get(Context& context) {
  if (context.dryRun) return showCall(getTraceLevel());
  Bus bus;
  if (Outcome opened = bus.open(); opened.status != Exit::done) return opened;
  int32_t level = 0;
  return readLevel(context, bus, level);
}

Outcome set(Context& context, uint32_t wanted) {
  const auto level = static_cast<int32_t>(wanted);
  if (context.dryRun) return showCall(setTraceLevel(level));
  Bus bus;
  if (Outcome opened = bus.open(); opened.status != Exit::done) return opened;
  std::vector<BusValue> values;
  Outcome outcome = callDaemon(context, bus, setTraceLevel(level), "trace level", values);
  if (outcome.status != Exit::done) return outcome;
  // The daemon takes no level that it does not know, and does not say so.
  int32_t now = 0;
  outcome = readLevel(context, bus, now);
  if (outcome.status == Exit::done && now != level) {
    outcome.status = Exit::failed;
    outcome.message = "the daemon kept trace level " + std::to_string(now) + ": it takes 0 to 10";
  }
  return outcome;
}

}  // namespace

void addTrace(Command root) {
  Command trace = root.sub("trace", "shows or sets the daemon's trace level");
  trace.run(get);
  trace.sub("get", "shows it").run(get);
  Command command = trace.sub("set", "sets it");
  auto level = std::make_shared<uint32_t>(0);
  std::vector<std::string> candidates;
  for (const Name& name : levels) candidates.emplace_back(name.name);
  command.value("LEVEL", "0..10|critical..debug3", "lines of this level and more serious ones are written",
                Need::required, candidates, [level](const std::string& word) -> Checked {
                  Checked byNumber = parseNumber(word, {0, mostLevel}, *level);
                  if (!byNumber || byNumber->forcible) return byNumber;
                  if (!parseName(word, levels, *level)) return std::nullopt;
                  return Fault{byNumber->text +
                               "; names: critical, error, warning, notice, info, debug1, debug2, "
                               "debug3"};
                });
  command.run([level](Context& context) { return set(context, *level); });
}

}  // namespace ctl
