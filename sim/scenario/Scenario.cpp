#include "scenario/Scenario.h"

#include <utility>

#include "base/ReadFile.h"
#include "directive/DirectiveParser.h"
#include "scenario/DirectiveInterpreter.h"

namespace sim {

Problem Scenario::load(const std::string& path, std::vector<std::string>& mistakes) {
  constexpr size_t limit = size_t{1} << 20;
  std::string content;
  mistakes.clear();
  m_directives.clear();
  if (Problem problem = readFile(path, limit, content)) return problem;
  size_t number = 0;
  size_t untold = 0;
  for (std::string_view rest = content; !rest.empty();) {
    ++number;
    const size_t end = rest.find('\n');
    const std::string_view line = rest.substr(0, end);
    rest = end == std::string_view::npos ? std::string_view() : rest.substr(end + 1);
    if (isBlank(line)) continue;
    Directive directive;
    size_t column = 0;
    const Problem problem = parseDirective(line, directive, &column);
    if (!problem) {
      m_directives.push_back(std::move(directive));
    } else if (mistakes.size() < maxMistakes) {
      mistakes.push_back(path + ":" + std::to_string(number) + ":" + std::to_string(column) + ": " +
                         *problem);
    } else {
      ++untold;
    }
  }
  if (untold > 0) mistakes.push_back(path + ": and " + std::to_string(untold) + " mistakes more");
  return std::nullopt;
}

void Scenario::start(DirectiveInterpreter& interpreter) const {
  for (const Directive& directive : m_directives) interpreter.apply(directive);
}

}  // namespace sim
