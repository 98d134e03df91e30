#include "scenario/ShowScenario.h"

#include <algorithm>
#include <cstdio>

namespace sim {
namespace {

constexpr uint32_t endless = UINT32_MAX;

std::string typeName(uint32_t type) {
  return type < OtnIpcMsgTypeCount ? msgTypeName(type) : std::to_string(type);
}

/// No value for what has no end.
std::string count(uint32_t value) {
  return value == endless ? "" : std::to_string(value);
}

std::string chance(uint32_t millionths) {
  char text[32];
  snprintf(text, sizeof text, "%g%%", millionths / 10'000.0);
  return text;
}

std::string milliseconds(Clock::time_point due, Clock::time_point now) {
  const auto left = std::chrono::ceil<std::chrono::milliseconds>(due - now).count();
  return std::to_string(std::max<long long>(left, 0));
}

void addStanding(Table& table, const std::vector<DirectiveInterpreter::Standing>& all) {
  for (const DirectiveInterpreter::Standing& standing : all) {
    const directive::When& when = standing.directive.when[0];
    const auto* request = std::get_if<directive::OnRequest>(&when);
    const directive::Occasions which =
        request == nullptr ? std::get<directive::OnConnect>(when).which : request->which;
    const uint32_t skip = which.skip - std::min(which.skip, standing.seen);
    const uint32_t done = standing.seen - std::min(which.skip, standing.seen);
    const uint32_t left = which.times == endless ? endless : which.times - std::min(which.times, done);
    table.rows.push_back({request == nullptr ? "connect" : typeName(request->type),
                          std::to_string(standing.seen), std::to_string(skip), count(left),
                          standing.directive.texts[1]});
  }
}

}  // namespace

View showFaults(const FaultTable& faults) {
  Table table{"faults",
              {{"type"},
               {"hits", CellKind::number},
               {"left", CellKind::number},
               {"next", CellKind::number},
               {"every", CellKind::number},
               {"chance"},
               {"fault"}},
              {}};
  for (const ArmedRule& armed : faults.armed()) {
    const Selector& selector = armed.rule.selector;
    table.rows.push_back({selector.anyAnswer ? "any" : typeName(selector.type), std::to_string(armed.hits),
                          count(armed.left), armed.next == 0 ? "" : std::to_string(armed.next),
                          std::to_string(selector.every), chance(selector.chance), armed.rule.detail});
  }
  return {std::move(table)};
}

View showSchedule(const OpsServer& server, const DirectiveInterpreter& interpreter, Clock::time_point now) {
  Table waiting{"waiting", {{"dueMs", CellKind::number}, {"left", CellKind::number}, {"directive"}}, {}};
  for (const TimerQueue::Waiting& timer : server.timers().waiting()) {
    waiting.rows.push_back({milliseconds(timer.due, now), count(timer.note.left), timer.note.text});
  }
  Table standing{"standing",
                 {{"occasion"},
                  {"seen", CellKind::number},
                  {"skip", CellKind::number},
                  {"left", CellKind::number},
                  {"directive"}},
                 {}};
  addStanding(standing, interpreter.onConnect());
  addStanding(standing, interpreter.onRequest());
  Table delayed{"delayed", {{"dueMs", CellKind::number}, {"message"}, {"rules"}}, {}};
  for (const OpsServer::Delayed& held : server.delayed()) {
    delayed.rows.push_back({milliseconds(held.due, now), typeName(held.type), held.what});
  }
  return {std::move(waiting), std::move(standing), std::move(delayed)};
}

}  // namespace sim
