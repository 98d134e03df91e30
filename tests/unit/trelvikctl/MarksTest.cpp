// Lines that stand out.
#include "timeline/Marks.h"

#include <gmock/gmock.h>

namespace {

using namespace ctl;

std::optional<LogMark> mark(const char* level, const char* text, const char* source = "main") {
  LogLine line;
  line.level = level;
  line.source = source;
  line.text = text;
  return markOf(line);
}

TEST(Marks, TellWhatHappened) {
  const struct {
    const char* level;
    const char* text;
    MarkKind kind;
  } cases[] = {
      {"WARNING", R"(ISS refused debug socket (source 2) message 1 of 1: "x")", MarkKind::refusal},
      {"WARNING", "no answer from ISS for 30 s: IssGetParams; 2 wait behind it", MarkKind::silence},
      {"WARNING", "ISS has not taken a message for 30 s, and nothing else can be queued", MarkKind::silence},
      {"NOTICE", "ISS answered after 31 s: IssGetParams", MarkKind::silence},
      {"ERROR", "gave up IssGetParams, sent 60 s ago", MarkKind::silence},
      {"CRITICAL", "CONNECTION TO OPS LOST", MarkKind::reconnect},
      {"INFO", "CONNECTION TO OPS LOST, try reconnecting in 5s", MarkKind::reconnect},
      {"INFO", "Connected to OPS", MarkKind::reconnect},
      {"DEBUG3", "retry connecting with ISS in 5 s", MarkKind::reconnect},
      {"ERROR", "Buffer overflow, message lost!", MarkKind::full},
      {"DEBUG2", "Received ALIVE message", MarkKind::kick},
      {"INFO", "MSR reload succeeded", MarkKind::state},
      {"DEBUG2", "ifIndex=5,bPortAdminStatus=UP,bPortOperationalStatus=UP", MarkKind::link},
      {"ERROR", "Unable to create OPS file!!", MarkKind::warning},
  };
  for (const auto& [level, text, kind] : cases) {
    const std::optional<LogMark> found = mark(level, text);
    ASSERT_TRUE(found) << text;
    EXPECT_EQ(found->kind, kind) << text;
  }
}

TEST(Marks, AreOfTheMonitorToo) {
  EXPECT_EQ(mark("", "kick OPS", "monitor")->kind, MarkKind::kick);
  EXPECT_EQ(mark("", "report CONNECTION TO OPS LOST !", "monitor")->kind, MarkKind::warning);
  EXPECT_FALSE(mark("", "open 7", "monitor"));
}

TEST(Marks, LeaveOrdinaryLinesAlone) {
  for (const char* text : {"mutex lock", "Sending packet to OPS", "MESSAGE SOURCE 4"}) {
    EXPECT_FALSE(mark("DEBUG3", text)) << text;
  }
}

}  // namespace
