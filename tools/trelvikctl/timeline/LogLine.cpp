#include "timeline/LogLine.h"

#include <charconv>

namespace ctl {
namespace {

constexpr std::string_view levels[] = {"CRITICAL", "ERROR",  "WARNING", "NOTICE",
                                       "INFO",     "DEBUG1", "DEBUG2",  "DEBUG3"};

/// Where "[LEVEL] " begins; npos when it is not there.
size_t findLevel(std::string_view line, std::string_view& level) {
  for (size_t at = line.find('['); at != std::string_view::npos; at = line.find('[', at + 1)) {
    for (const std::string_view word : levels) {
      if (line.substr(at + 1).starts_with(word) && line.substr(at + 1 + word.size()).starts_with("] ")) {
        level = word;
        return at;
      }
    }
  }
  return std::string_view::npos;
}

/// The number in "Trelvik[4711]:".
int readPid(std::string_view prefix) {
  const size_t close = prefix.rfind("]:");
  const size_t open = prefix.rfind('[');
  if (close == std::string_view::npos || open == std::string_view::npos || open > close) return 0;
  int pid = 0;
  std::from_chars(prefix.data() + open + 1, prefix.data() + close, pid);
  return pid;
}

/// Cuts off what stands in front of `end`; false when there is none.
bool takeUpTo(std::string_view& rest, std::string_view end, std::string& part) {
  const size_t at = rest.find(end);
  if (at == std::string_view::npos) return false;
  part = rest.substr(0, at);
  rest.remove_prefix(at + end.size());
  return true;
}

/// Syslog daemons write a line end within a message as #012.
std::string unescaped(std::string_view text) {
  std::string result(text);
  for (size_t at = result.find("#012"); at != std::string::npos; at = result.find("#012", at)) {
    result.replace(at, 4, "\n");
  }
  result.erase(result.find_last_not_of(" \r\n") + 1);
  return result;
}

}  // namespace

std::optional<LogLine> readLogLine(std::string_view line, const DayHint& hint) {
  LogLine result;
  std::string_view level;
  const size_t at = findLevel(line, level);
  constexpr std::string_view monitor = " monitor | ";
  if (const size_t seen = line.find(monitor); seen < at) {
    result.source = "monitor";
    result.text = unescaped(line.substr(seen + monitor.size()));
  } else if (at != std::string_view::npos) {
    std::string_view rest = line.substr(at + level.size() + 3);
    std::string number;
    if (!takeUpTo(rest, ":", result.source) || !takeUpTo(rest, " (", number) ||
        !takeUpTo(rest, ") - ", result.function)) {
      return std::nullopt;
    }
    if (number.empty() || number.find_first_not_of("0123456789") != std::string::npos) return std::nullopt;
    result.level = level;
    result.text = unescaped(rest);
    result.pid = readPid(line.substr(0, at));
  } else {
    return std::nullopt;
  }
  const std::optional<StampedTime> time = readTime(line, hint);
  if (!time) return std::nullopt;
  result.when = time->when;
  result.resolution = time->resolution;
  return result;
}

}  // namespace ctl
