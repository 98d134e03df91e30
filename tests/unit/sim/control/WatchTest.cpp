#include "control/Watch.h"

#include <gmock/gmock.h>

#include "sim/support/Record.h"

namespace {

using sim::Direction;
using std::chrono::microseconds;
using std::chrono::milliseconds;
using ::testing::ElementsAre;
using ::testing::EndsWith;
using ::testing::HasSubstr;
using ::testing::MatchesRegex;
using ::testing::Optional;

class Watch : public ::testing::Test {
 protected:
  Watch() {
    m_watch.setListener([this](const sim::Passed& passed) { m_latencies.push_back(passed.latency); });
  }
  void pass(Direction direction, const OtnIpcMsg& msg, int afterMilliseconds) {
    m_now += milliseconds(afterMilliseconds);
    if (direction == Direction::in) {
      m_watch.onReceived(msg, m_now);
    } else {
      m_watch.onSent({&msg, sizeof msg}, m_now);
    }
  }

  sim::Watch m_watch;
  std::chrono::steady_clock::time_point m_now{};
  std::vector<std::optional<microseconds>> m_latencies;
};

TEST_F(Watch, TimesAnAnswerFromItsRequest) {
  pass(Direction::in, record(FLUSH_CMD), 0);
  pass(Direction::out, record(PORT_STATUS_CHANGE_IND), 1);
  pass(Direction::out, answerOf(FLUSH_CMD), 2);
  pass(Direction::out, answerOf(FLUSH_CMD), 5);
  EXPECT_THAT(m_latencies,
              ElementsAre(std::nullopt, std::nullopt, Optional(microseconds(3000)), std::nullopt));
}

TEST_F(Watch, FindsTheRequestOfAnAnswerByItsType) {
  pass(Direction::in, record(FLUSH_CMD), 0);
  pass(Direction::in, record(SYNCE_CMD), 1);
  pass(Direction::out, answerOf(SYNCE_CMD), 1);
  pass(Direction::out, answerOf(RUN_DEFAULT_SCRIPT_COMMAND), 1);
  EXPECT_THAT(m_latencies[2], Optional(microseconds(1000)));
  EXPECT_THAT(m_latencies[3], Optional(microseconds(3000)));
}

TEST_F(Watch, ForgetsRequestsWithTheirClient) {
  pass(Direction::in, record(FLUSH_CMD), 0);
  m_watch.onClient(false, m_now);
  pass(Direction::out, answerOf(FLUSH_CMD), 1);
  EXPECT_EQ(m_latencies[1], std::nullopt);
}

TEST_F(Watch, BoundsWhatItAwaits) {
  for (size_t i = 0; i <= sim::Watch::maxOutstanding; ++i) pass(Direction::in, record(FLUSH_CMD), 1);
  pass(Direction::out, answerOf(FLUSH_CMD), 1);
  EXPECT_THAT(m_latencies.back(), Optional(microseconds(1000 * sim::Watch::maxOutstanding)));
}

TEST_F(Watch, CountsByType) {
  pass(Direction::out, record(TASK_INIT_STATUS), 0);
  for (const int time : {1, 3}) {
    pass(Direction::in, record(FLUSH_CMD), 0);
    pass(Direction::out, answerOf(FLUSH_CMD, time == 1 ? ops::noError : "no\r\n"), time);
  }
  pass(Direction::out, answerOf(FLUSH_CMD), 9);
  EXPECT_EQ(m_watch.counts().at(TASK_INIT_STATUS).sent, 1U);
  const sim::MessageCount& count = m_watch.counts().at(FLUSH_CMD);
  EXPECT_EQ(count.received, 2U);
  EXPECT_EQ(count.answered, 3U);
  EXPECT_EQ(count.refused, 1U);
  EXPECT_EQ(count.sent, 0U);
  EXPECT_EQ(count.timed, 2U);
  EXPECT_EQ(count.least, milliseconds(1));
  EXPECT_EQ(count.most, milliseconds(3));
  EXPECT_EQ(count.total, milliseconds(4));
}

TEST_F(Watch, AwaitsAnAnswerOfWhichNothingLeft) {
  const OtnIpcMsg answer = answerOf(FLUSH_CMD);
  pass(Direction::in, record(FLUSH_CMD), 0);
  m_watch.onSent({&answer, 0, 1, "dropped"}, m_now + milliseconds(1));
  EXPECT_EQ(m_latencies[1], std::nullopt);
  m_watch.onSent({&answer, 100}, m_now + milliseconds(5));
  EXPECT_THAT(m_latencies[2], Optional(microseconds(5000)));
  m_watch.onSent({&answer, sizeof answer, 40}, m_now + milliseconds(6));
  m_watch.onSent({nullptr, 40}, m_now + milliseconds(6));
  const sim::MessageCount& count = m_watch.counts().at(FLUSH_CMD);
  EXPECT_EQ(count.dropped, 2U);
  EXPECT_EQ(count.answered, 40U);
  EXPECT_EQ(count.timed, 1U);
}

TEST_F(Watch, BoundsTheTypesItCounts) {
  for (uint32_t type = 0; type < 1000; ++type) pass(Direction::in, record(type), 0);
  EXPECT_EQ(m_watch.counts().size(), sim::Watch::maxTypes);
}

TEST(WatchLine, HasTimeDirectionRecordAndLatency) {
  OtnIpcMsg flush = record(FLUSH_CMD);
  flush.payload.flush = {7, 2};
  EXPECT_THAT(sim::watchLine({Direction::in, {&flush, sizeof flush}}),
              MatchesRegex("..:..:..\\.... <- FLUSH_CMD \\[16\\] vpn=7 vp=2\n"));
  const OtnIpcMsg answer = answerOf(FLUSH_CMD);
  const std::string answered = sim::watchLine({Direction::out, {&answer, sizeof answer}, microseconds(1234)});
  EXPECT_THAT(answered, HasSubstr(" -> FLUSH_CMD [16] vpn=0 vp=0 errorString=\"No Error\\r\\n\" "));
  EXPECT_THAT(answered, EndsWith(" (after 1.234 ms)\n"));
  EXPECT_THAT(
      sim::watchLine({Direction::out, {&answer, sizeof answer, 3, "delayed 5 ms"}, microseconds(5001)}),
      EndsWith(" isResponse=1 (delayed 5 ms, 3 times, after 5.001 ms)\n"));
  EXPECT_THAT(sim::watchLine({Direction::out, {nullptr, 17}}), EndsWith(" -> 17 bytes that are no record\n"));
}

TEST(WatchJson, HasTheSameByName) {
  OtnIpcMsg script = record(RUN_DEFAULT_SCRIPT_COMMAND);
  setText(script.payload.script.inputFile, "/tmp/a b");
  EXPECT_THAT(
      sim::watchJson({Direction::in, {&script, sizeof script}}),
      EndsWith(
          R"(", "direction": "in", "type": 8, "name": "RUN_DEFAULT_SCRIPT_COMMAND", )"
          R"("latencyMs": null, "how": null, "bytes": 6924, "count": 1, "fields": {"inputFile": "/tmp/a b", "outputFile": ""}})"
          "\n"));
  const OtnIpcMsg answer = answerOf(FLUSH_CMD);
  EXPECT_THAT(
      sim::watchJson({Direction::out, {&answer, 0, 1, "dropped"}, microseconds(50)}),
      EndsWith(
          R"(", "direction": "out", "type": 16, "name": "FLUSH_CMD", "latencyMs": 0.050, )"
          R"("how": "dropped", "bytes": 0, "count": 1, "fields": {"vpn": 0, "vp": 0, "errorString": "No Error\u000d\u000a", )"
          R"("errorValue": "0,0,0,0", "status": 0, "isResponse": 1}})"
          "\n"));
  EXPECT_THAT(
      sim::watchJson({Direction::out, {nullptr, 17}}),
      EndsWith(R"("type": null, "name": null, "latencyMs": null, "how": null, "bytes": 17, "count": 1, )"
               R"("fields": {}})"
               "\n"));
}

}  // namespace
