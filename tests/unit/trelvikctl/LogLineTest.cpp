// The daemon's lines, whoever wrote them down.
#include "timeline/LogLine.h"

#include <gmock/gmock.h>

namespace {

using namespace ctl;
using namespace std::chrono_literals;

constexpr LogTime noon = 1795262400s;  // 2026-11-21 12:00:00 UTC

LogLine readLine(const std::string& line) {
  const std::optional<LogLine> result = readLogLine(line, dayOf(noon));
  EXPECT_TRUE(result) << line;
  return result.value_or(LogLine());
}

std::string local(const char* format) {
  const DayHint day = dayOf(noon);
  char text[64];
  strftime(text, sizeof text, format, &day);
  return text;
}

TEST(LogLine, HasItsParts) {
  const LogLine line = readLine(
      "2026-11-21T12:00:00.250000+00:00 board Trelvik[77]: [DEBUG3] SrvIss:137 "
      "(run_iss_script_thread) - message writepointer 9");
  EXPECT_EQ(line.when, noon + 250ms);
  EXPECT_EQ(line.resolution, 1us);
  EXPECT_EQ(line.pid, 77);
  EXPECT_EQ(line.level, "DEBUG3");
  EXPECT_EQ(line.source, "SrvIss");
  EXPECT_EQ(line.function, "run_iss_script_thread");
  EXPECT_EQ(line.text, "message writepointer 9");
}

TEST(LogLine, TimeComesInManyForms) {
  const std::string rest = " [INFO] main:242 (main) - Connected to OPS";
  const std::string from = " board Trelvik[77]:" + rest;
  for (const std::string& line :
       {"2026-11-21T13:00:00+0100" + from, "2026-11-21T12:00:00.000000Z" + from,
        local("%b %e %H:%M:%S") + from, local("%b %e %H:%M:%S") + ".000000" + from,
        "1795262400.000000" + from, "Sat 2026-11-21 12:00:00 UTC" + from, local("%F %H:%M:%S.000") + rest,
        local("%F %H:%M:%S.000") + "  Trelvik |" + rest, local("%H:%M:%S.000") + "  Trelvik |" + rest}) {
    EXPECT_EQ(readLine(line).when, noon) << line;
    EXPECT_EQ(readLine(line).text, "Connected to OPS");
  }
}

TEST(LogLine, MonitorIsOneOfThem) {
  const LogLine line = readLine(local("%F %H:%M:%S.264") + "  monitor | kick main");
  EXPECT_EQ(line.source, "monitor");
  EXPECT_EQ(line.text, "kick main");
  EXPECT_EQ(line.when, noon + 264ms);
}

TEST(LogLine, LinesOfOthersAreNone) {
  for (const char* line :
       {"", "-- Boot 1234 --", "2026-11-21T12:00:00Z board kernel: [INFO] no line",
        "[INFO] main:242 (main) - x", "2026-11-21T12:00:00Z board x: [INFO] main:y (main) - x",
        "2026-11-21 12:00:00.001      iss | -> ALIVE [3]", "2026-99-99T12:00:00Z [INFO] main:1 (main) - x",
        "9999-01-01T12:00:00Z [INFO] main:1 (main) - x", "99999999999.5 [INFO] main:1 (main) - x",
        "PwPort = 5"}) {
    EXPECT_FALSE(readLogLine(line, dayOf(noon))) << line;
  }
}

TEST(LogLine, LineEndsOfSyslogAreRead) {
  EXPECT_EQ(readLine("2026-11-21T12:00:00Z b Trelvik: [INFO] main:1 (main) - a#012b\n").text, "a\nb");
}

TEST(LogLine, CutAnywhereDoesNoHarm) {
  const std::string line =
      "Sat 2026-11-21 12:00:00.250 UTC b Trelvik[7]: [DEBUG3] main:733 (iss_comm) - rp:9 wp:11";
  for (size_t i = 0; i <= line.size(); ++i) {
    readLogLine(line.substr(i), dayOf(noon));
    readLogLine(line.substr(0, i), dayOf(noon));
  }
}

}  // namespace
