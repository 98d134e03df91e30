// A scenario file: directives, one a line, in the order in which they are carried out at the start.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "directive/Directive.h"

namespace sim {

class DirectiveInterpreter;

class Scenario {
 public:
  static constexpr size_t maxMistakes = 50;  ///< that are told one by one

  /// Reads and checks the whole file; the problem is one line "FILE: reason" when it cannot be read. What
  /// is wrong in it goes to `mistakes`, a line "FILE:LINE:COLUMN: reason" each; such a scenario must not be
  /// started.
  Problem load(const std::string& path, std::vector<std::string>& mistakes);

  size_t size() const { return m_directives.size(); }

  /// Before the server runs.
  void start(DirectiveInterpreter& interpreter) const;

 private:
  std::vector<Directive> m_directives;
};

}  // namespace sim
