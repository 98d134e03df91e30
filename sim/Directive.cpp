#include "Directive.h"

namespace sim {

std::optional<std::string> DirectiveInterpreter::apply(std::string_view line) {
  return "unknown directive \"" + std::string(line) + "\"";
}

}  // namespace sim
