// What a scenario's lines and `iss-sim inject` tell the simulator to do, one line at a time.
#pragma once

#include <string_view>
#include <vector>

#include "base/LineOutput.h"
#include "directive/Directive.h"
#include "ops/OpsServer.h"
#include "record/Observer.h"

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

  /// A directive that waits for its occasions; `when` begins with them.
  struct Standing {
    Directive directive;
    uint32_t seen = 0;  ///< occasions so far
  };

  /// By kind, in the order in which they came.
  const std::vector<Standing>& onConnect() const { return m_onConnect; }
  const std::vector<Standing>& onRequest() const { return m_onRequest; }

  static constexpr size_t maxWaiting =
      1000;  ///< directives that wait for their time, or for one kind of occasion

 private:
  void onReceived(const OtnIpcMsg& record, Clock::time_point when) override;
  void onClient(bool connected, Clock::time_point when) override;

  bool isFull(const Directive& directive);
  void occasion(Standing& standing, directive::Occasions which);
  /// Carries out the directive, whose conditions before `place` are met.
  void proceed(const Directive& directive, size_t place, TimerQueue::Scope scope);
  void repeat(const Directive& directive, size_t place, TimerQueue::Scope scope, directive::Every every);
  void later(std::chrono::milliseconds time, TimerQueue::Scope scope, std::function<void()> action,
             TimerNote note);
  void carryOut(const directive::Action& action);
  void changePorts(const directive::Port& change);
  void clear(directive::Clear what);

  OpsServer& m_server;
  IssModel& m_model;
  LineOutput& m_output;
  std::vector<Standing> m_onConnect;
  std::vector<Standing> m_onRequest;
  bool m_full = false;  ///< it was told that too much waits
};

}  // namespace sim
