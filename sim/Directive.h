// What a scenario's lines and `iss-sim inject` tell the simulator to do, one line at a time.
#pragma once

#include <string_view>
#include <vector>

#include "DirectiveParser.h"
#include "LineOutput.h"
#include "Observer.h"
#include "OpsServer.h"

namespace sim {

/// Carries out directives on the simulator's one poll-loop thread. What they want done later waits in the
/// server's timers.
class DirectiveInterpreter : private Observer {
 public:
  /// All are the caller's. The server runs no longer when the interpreter ends.
  DirectiveInterpreter(OpsServer& server, IssModel& model, LineOutput& output);
  DirectiveInterpreter(const DirectiveInterpreter&) = delete;
  DirectiveInterpreter& operator=(const DirectiveInterpreter&) = delete;

  /// Carries out one line, as it could stand in a scenario. Returns what is wrong with it, if anything; a
  /// wrong line changes nothing.
  Problem apply(std::string_view line);

  void apply(const Directive& directive);

 private:
  /// A directive that waits for its occasions; `when` begins with them.
  struct Standing {
    Directive directive;
    uint32_t seen = 0;  ///< occasions so far
  };

  void onRecord(Direction direction, const OtnIpcMsg& record, Clock::time_point when) override;
  void onClient(bool connected, Clock::time_point when) override;

  void occasion(Standing& standing, directive::Occasions which);
  /// Carries out what the directive's conditions from `place` on leave to do.
  void proceed(const Directive& directive, size_t place, TimerQueue::Scope scope);
  void repeat(const Directive& directive, size_t place, TimerQueue::Scope scope, directive::Every every);
  void later(std::chrono::milliseconds time, TimerQueue::Scope scope, std::function<void()> action);
  void carryOut(const directive::Action& action);
  void changePort(const directive::Port& port);
  void clear(directive::Clear what);

  OpsServer& m_server;
  IssModel& m_model;
  LineOutput& m_output;
  std::vector<Standing> m_onConnect;
  std::vector<Standing> m_onRequest;
  uint64_t m_schedule = 0;  ///< what waits for an earlier schedule is not carried out
};

}  // namespace sim
