// A scenario file: directives, one a line, in the order in which they are carried out at the start.
#pragma once

#include <string>
#include <vector>

#include "DirectiveParser.h"

namespace sim {

class DirectiveInterpreter;

class Scenario {
 public:
  /// Reads and checks the whole file; the problem is one line "FILE:LINE: reason".
  Problem load(const std::string& path);

  /// Before the server runs.
  void start(DirectiveInterpreter& interpreter) const;

 private:
  std::vector<Directive> m_directives;
};

}  // namespace sim
