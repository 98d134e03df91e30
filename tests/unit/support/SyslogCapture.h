// Log lines of the program under test, caught instead of sent to the system's log.
//
// The test program's own syslog() takes the place of the C library's. While a SyslogCapture exists, the lines
// of all threads go to it; without one they go to standard error. One capture at a time.
#pragma once

#include <functional>
#include <string>
#include <vector>

class SyslogCapture {
 public:
  struct Line {
    int priority;
    std::string text;
  };

  SyslogCapture();
  ~SyslogCapture();
  SyslogCapture(const SyslogCapture&) = delete;
  SyslogCapture& operator=(const SyslogCapture&) = delete;

  /// All lines since the last clear(), as the log shows them, without priority.
  std::vector<std::string> lines() const;
  std::vector<Line> entries() const;
  /// How many lines contain the text.
  size_t count(const std::string& text) const;
  void clear();

  /// Called with each line from now on, by the thread that logs it, before the line is kept.
  void onLine(std::function<void(const std::string&)> look);
};
