// What a scenario's lines and `iss-sim inject` tell the simulator to do, one line at a time.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace sim {

class IssModel;
class LineOutput;
class OpsServer;

/// Carries out directives on the simulator's one poll-loop thread.
class DirectiveInterpreter {
 public:
  /// All are the caller's and outlive the interpreter.
  DirectiveInterpreter(OpsServer& server, IssModel& model, LineOutput& output)
      : m_server(server), m_model(model), m_output(output) {}

  /// Carries out one line, as it could stand in a scenario. Returns what is wrong with it, if anything; a
  /// wrong line changes nothing.
  std::optional<std::string> apply(std::string_view line);

 private:
  OpsServer& m_server;
  IssModel& m_model;
  LineOutput& m_output;
};

}  // namespace sim
