#include "Scenario.h"

#include <utility>

#include "Directive.h"
#include "ReadFile.h"

namespace sim {

Problem Scenario::load(const std::string& path) {
  constexpr size_t limit = size_t{1} << 20;
  std::string content;
  if (Problem problem = readFile(path, limit, content)) return problem;
  m_directives.clear();
  size_t number = 0;
  for (std::string_view rest = content; !rest.empty();) {
    ++number;
    const size_t end = rest.find('\n');
    const std::string_view line = rest.substr(0, end);
    rest = end == std::string_view::npos ? std::string_view() : rest.substr(end + 1);
    if (isBlank(line)) continue;
    Directive directive;
    if (Problem problem = parseDirective(line, directive)) {
      return path + ":" + std::to_string(number) + ": " + *problem;
    }
    m_directives.push_back(std::move(directive));
  }
  return std::nullopt;
}

void Scenario::start(DirectiveInterpreter& interpreter) const {
  for (const Directive& directive : m_directives) interpreter.apply(directive);
}

}  // namespace sim
