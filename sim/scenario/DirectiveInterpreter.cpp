#include "scenario/DirectiveInterpreter.h"

#include <string>
#include <utility>

#include "directive/DirectiveParser.h"

namespace sim {
namespace {

template <typename... Handlers>
struct Overloaded : Handlers... {
  using Handlers::operator()...;
};
template <typename... Handlers>
Overloaded(Handlers...) -> Overloaded<Handlers...>;

}  // namespace

DirectiveInterpreter::DirectiveInterpreter(OpsServer& server, IssModel& model, LineOutput& output)
    : m_server(server), m_model(model), m_output(output) {
  server.addObserver(*this);
}

Problem DirectiveInterpreter::apply(std::string_view line) {
  Directive directive;
  if (Problem problem = parseDirective(line, directive)) return problem;
  if (!directive.when.empty() && isFull(directive)) {
    return "too much waits (" + std::to_string(maxWaiting) + " directives), clear the schedule first";
  }
  apply(directive);
  return std::nullopt;
}

bool DirectiveInterpreter::isFull(const Directive& directive) {
  if (std::holds_alternative<directive::OnConnect>(directive.when[0]))
    return m_onConnect.size() >= maxWaiting;
  if (std::holds_alternative<directive::OnRequest>(directive.when[0]))
    return m_onRequest.size() >= maxWaiting;
  return m_server.timers().size() >= maxWaiting;
}

void DirectiveInterpreter::apply(const Directive& directive) {
  if (!directive.when.empty() && std::holds_alternative<directive::OnConnect>(directive.when[0])) {
    m_onConnect.push_back({directive});
  } else if (!directive.when.empty() && std::holds_alternative<directive::OnRequest>(directive.when[0])) {
    m_onRequest.push_back({directive});
  } else {
    proceed(directive, 0, TimerQueue::Scope::simulator);
  }
}

void DirectiveInterpreter::onClient(bool connected, Clock::time_point) {
  if (!connected) return;
  for (Standing& standing : m_onConnect) {
    occasion(standing, std::get<directive::OnConnect>(standing.directive.when[0]).which);
  }
}

void DirectiveInterpreter::onReceived(const OtnIpcMsg& record, Clock::time_point) {
  for (Standing& standing : m_onRequest) {
    const auto& request = std::get<directive::OnRequest>(standing.directive.when[0]);
    if (request.type == record.msgType) occasion(standing, request.which);
  }
}

void DirectiveInterpreter::occasion(Standing& standing, directive::Occasions which) {
  const uint32_t before = standing.seen;
  if (standing.seen < UINT32_MAX) ++standing.seen;
  if (before < which.skip || before - which.skip >= which.times) return;
  // By way of a timer: behind the greeting, or behind the answer.
  later(std::chrono::milliseconds(0), TimerQueue::Scope::connection,
        [this, directive = standing.directive] { proceed(directive, 1, TimerQueue::Scope::connection); },
        {standing.directive.texts[1]});
}

void DirectiveInterpreter::proceed(const Directive& directive, size_t place, TimerQueue::Scope scope) {
  if (place == directive.when.size()) {
    carryOut(directive.action);
  } else if (const auto* after = std::get_if<directive::After>(&directive.when[place])) {
    later(after->time, scope, [this, directive, place, scope] { proceed(directive, place + 1, scope); },
          {directive.texts[place + 1]});
  } else if (const auto* every = std::get_if<directive::Every>(&directive.when[place])) {
    repeat(directive, place, scope, *every);
  }
}

void DirectiveInterpreter::repeat(const Directive& directive, size_t place, TimerQueue::Scope scope,
                                  directive::Every every) {
  const auto occur = [this, directive, place, scope, every]() mutable {
    if (every.times != UINT32_MAX) --every.times;
    // Before the action, which may clear the schedule or end the connection.
    if (every.times > 0) repeat(directive, place, scope, every);
    proceed(directive, place + 1, scope);
  };
  later(every.period, scope, occur, {directive.texts[place + 1], every.times});
}

/// Repetitions may add up: what would be too much is left out.
void DirectiveInterpreter::later(std::chrono::milliseconds time, TimerQueue::Scope scope,
                                 std::function<void()> action, TimerNote note) {
  const size_t waiting = m_server.timers().size();
  if (waiting >= maxWaiting) {
    if (!std::exchange(m_full, true)) {
      m_output.line("too much waits (" + std::to_string(maxWaiting) + " directives), left out: " + note.text);
    }
    return;
  }
  // Not told again for each that comes and goes at the limit.
  if (waiting < maxWaiting / 2) m_full = false;
  note.scheduled = true;
  m_server.timers().after(time, scope, std::move(action), std::move(note));
}

void DirectiveInterpreter::carryOut(const directive::Action& action) {
  std::visit(Overloaded{
                 [this](const directive::Startup& startup) { m_server.setStartup(startup.steps); },
                 [this](const directive::KeepAlive& keepAlive) { m_server.setKeepAlive(keepAlive.period); },
                 [this](const directive::Own& own) { m_server.send(own.record.build()); },
                 [this](const directive::Send& send) { m_server.sendAsIs(send.record.build(), send.count); },
                 [this](const directive::Raw& raw) { m_server.sendAsIs(raw.bytes); },
                 [this](const directive::Garbage& garbage) {
                   m_server.sendAsIs(m_server.faults().garbage(garbage.size));
                 },
                 [this](const directive::Port& port) { changePorts(port); },
                 [this](const directive::Close& close) {
                   m_server.close(close.reset ? Ending::reset : Ending::close);
                 },
                 [this](const directive::Restart& restart) { m_server.restart(restart.away); },
                 [this](const directive::Stall& stall) { m_server.stall(stall.time); },
                 [this](const directive::Seed& seed) { m_server.faults().seed(seed.value); },
                 [this](const directive::Clear& what) { clear(what); },
                 [this](const FaultRule& rule) { m_server.faults().add(rule); },
             },
             action);
}

void DirectiveInterpreter::changePorts(const directive::Port& change) {
  using directive::PortChange;
  for (uint32_t port = 1; port <= portCount; ++port) {
    if ((change.ports & portBit(port)) == 0) continue;
    const bool isUp = m_model.portReport(port).payload.portStatus.operationalStatus == 1;
    const bool up = change.change == PortChange::up || (change.change == PortChange::toggle && !isUp);
    if (m_model.setPortOper(port, up)) {
      m_server.send(m_model.portReport(port));
    } else {
      m_output.line("port " + std::to_string(port) + " stays as it is");
    }
  }
}

void DirectiveInterpreter::clear(directive::Clear what) {
  using directive::Clear;
  if (what == Clear::faults || what == Clear::all) m_server.faults().clearFaults();
  if (what == Clear::answers || what == Clear::all) m_server.faults().clearAnswers();
  if (what == Clear::schedule || what == Clear::all) {
    m_server.timers().cancelScheduled();
    m_onConnect.clear();
    m_onRequest.clear();
  }
}

}  // namespace sim
