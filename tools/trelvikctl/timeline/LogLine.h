// A line of the daemon's log, out of whatever wrote it down: journalctl, a syslog file, scripts/board. Pure
// functions; any thread.
#pragma once

#include <chrono>
#include <ctime>
#include <optional>
#include <string>
#include <string_view>

namespace ctl {

/// Since 1970, UTC.
using LogTime = std::chrono::nanoseconds;

struct LogLine {
  LogTime when{};
  LogTime resolution{};  ///< of the time: one second, one millisecond, one microsecond
  int pid = 0;           ///< 0 = not told
  std::string level;     ///< "DEBUG3"; empty for the monitor device's own lines
  std::string source;    ///< "main"; "monitor" for what the monitor device saw
  std::string function;
  std::string text;  ///< with "\n" between lines, none at the end
};

/// The day for times that lack it, the year for those that have no more than a day.
using DayHint = std::tm;
DayHint dayOf(LogTime when);

struct StampedTime {
  LogTime when{};
  LogTime resolution{};
};

/// The time that a line begins with; without a zone it is this machine's.
std::optional<StampedTime> readTime(std::string_view line, const DayHint& hint);

/// Empty for a line that is not the daemon's.
std::optional<LogLine> readLogLine(std::string_view line, const DayHint& hint);

}  // namespace ctl
