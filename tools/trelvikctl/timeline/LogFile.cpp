#include "timeline/LogFile.h"

#include "timeline/Follower.h"

namespace ctl {
namespace {

/// Lines of one message that a log writer did not join.
bool continues(const LogLine& before, std::string_view line, const DayHint& hint) {
  return before.function == "printPacket" && !line.starts_with("-- ") && !readTime(line, hint);
}

/// The log's keeper threw lines away.
bool isLoss(std::string_view line) {
  return line.find("Suppressed ") != std::string_view::npos &&
         line.find(" messages from ") != std::string_view::npos;
}

void append(std::string& text, std::string_view line) {
  const size_t begin = line.find_first_not_of(" \t\r");
  if (begin == std::string_view::npos) return;
  text += '\n';
  text += line.substr(begin, line.find_last_not_of(" \t\r") + 1 - begin);
}

void tellWhatIsMissing(History& history) {
  if (history.daemonLines == 0) {
    history.notes.emplace_back("no line of the daemon was found");
  } else if (history.requests.empty()) {
    history.notes.emplace_back(
        "no request was found: lines of level 9 are wanted (trelvikctl trace set 9, before the requests)");
  }
  if (history.resolution >= std::chrono::seconds(1)) {
    history.notes.emplace_back(
        "the log's times are whole seconds: journalctl -o short-iso-precise tells them exactly");
  }
}

}  // namespace

History readHistory(std::string_view log, const DayHint& hint) {
  Follower follower;
  LogLine pending;  // its source is empty when there is none
  const auto flush = [&] {
    if (!pending.source.empty()) follower.take(pending);
    pending = LogLine();
  };
  while (!log.empty()) {
    const std::string_view line = log.substr(0, log.find('\n'));
    log.remove_prefix(std::min(line.size() + 1, log.size()));
    if (const std::optional<LogLine> read = readLogLine(line, hint)) {
      flush();
      pending = *read;
    } else if (continues(pending, line, hint)) {
      append(pending.text, line);
    } else if (line.find_first_not_of(" \r") != std::string_view::npos) {
      flush();
      if (isLoss(line)) follower.gap("the log lacks lines: " + std::string(line));
      follower.other();
    }
  }
  flush();
  History history = follower.finish();
  tellWhatIsMissing(history);
  return history;
}

}  // namespace ctl
