// Fixture of the tests of the daemon's rooms: a trace object that admits everything, and the lines logged.
#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <string>
#include <vector>

#include "TraceObject.h"
#include "support/SyslogCapture.h"

/// A line as the log shows it, without priority.
inline std::string logged(const std::string& level, const std::string& source, int line,
                          const std::string& function, const std::string& text) {
  return "[" + level + "] " + source + ":" + std::to_string(line) + " (" + function + ") - " + text;
}

/// A line whose number is the code's own: compared with RoomTest::unnumbered().
inline std::string loggedAnywhere(const std::string& level, const std::string& source,
                                  const std::string& function, const std::string& text) {
  return "[" + level + "] " + source + ":# (" + function + ") - " + text;
}

class RoomTest : public ::testing::Test {
 protected:
  RoomTest() { g_traceObject = new TraceObject("Trelvik", trace::DEBUG3); }
  ~RoomTest() override {
    delete g_traceObject;
    g_traceObject = nullptr;
  }

  static void setLevel(int level) { g_traceObject->levelHolder()->level = level; }
  static int level() { return g_traceObject->levelHolder()->level; }

  /// All lines since the last forget().
  std::vector<std::string> lines() const { return m_log.lines(); }
  void forget() { m_log.clear(); }
  void onLine(std::function<void(const std::string&)> look) { m_log.onLine(std::move(look)); }

  std::vector<std::string> unnumbered() const {
    std::vector<std::string> result = lines();
    for (std::string& line : result) {
      const size_t digits = line.find(':') + 1;
      line.replace(digits, line.find(" (") - digits, "#");
    }
    return result;
  }
  size_t count(const std::string& line) const {
    const std::vector<std::string> all = lines();
    return static_cast<size_t>(std::count(all.begin(), all.end(), line));
  }

 private:
  SyslogCapture m_log;
};
