#include "frame/LoopState.h"

#include <gtest/gtest.h>

namespace {

using namespace std::chrono_literals;

constexpr int input = 1;
constexpr int timedOut = 0;
constexpr int interrupted = -1;

class LoopStateTest : public ::testing::Test {
 protected:
  using Time = LoopState::Time;
  using Duration = LoopState::Duration;

  Duration begin() { return m_state.waitBegins(m_now); }
  Duration begin(Duration reminder) { return m_state.waitBegins(m_now, m_now + reminder); }
  Pass end(Duration waited, int ready) {
    pass(waited);
    return m_state.waitEnds(m_now, ready);
  }
  /// One whole wait, not limited by a reminder.
  Pass wait(Duration waited, int ready) {
    begin();
    return end(waited, ready);
  }
  /// Time that is spent on what came.
  void pass(Duration handling) { m_now += handling; }

  void connect() {
    ASSERT_EQ(wait(0s, timedOut), Pass::Connect);
    m_state.connected();
  }

  LoopState m_state;
  Time m_now = Time(100h);
};

TEST_F(LoopStateTest, TriesToConnectAtOnce) {
  EXPECT_FALSE(m_state.isConnected());
  EXPECT_EQ(begin(), 0s);
  EXPECT_EQ(end(3ms, timedOut), Pass::Connect);
}

TEST_F(LoopStateTest, TriesAgainFiveSecondsAfterARefusal) {
  wait(0s, timedOut);
  m_state.connectFailed();
  EXPECT_EQ(begin(), 5s);
  EXPECT_EQ(end(5s, timedOut), Pass::Connect);
  EXPECT_FALSE(m_state.isConnected());
}

TEST_F(LoopStateTest, KicksAfterThirtySecondsWithoutInput) {
  connect();
  EXPECT_TRUE(m_state.isConnected());
  EXPECT_EQ(begin(), 30s);
  EXPECT_EQ(end(30s, timedOut), Pass::Kick);
}

TEST_F(LoopStateTest, WaitsThirtySecondsAgainAfterAKick) {
  connect();
  wait(30s, timedOut);
  EXPECT_EQ(begin(), 30s);
  EXPECT_EQ(end(30s, timedOut), Pass::Kick);
}

TEST_F(LoopStateTest, RunsTheTimeOutDownOverAllWaitsThatFindInput) {
  connect();
  for (int i = 0; i < 29; ++i) EXPECT_EQ(wait(1s, input), Pass::Input);
  EXPECT_EQ(begin(), 1s);
  EXPECT_EQ(end(400ms, input), Pass::Input);
  EXPECT_EQ(begin(), 600ms);
  EXPECT_EQ(end(600ms, timedOut), Pass::Kick);
}

TEST_F(LoopStateTest, DoesNotCountTheTimeOfHandling) {
  connect();
  for (int i = 0; i < 10; ++i) {
    wait(1s, input);
    pass(1h);
  }
  EXPECT_EQ(begin(), 20s);
}

TEST_F(LoopStateTest, CountsEachWaitOnce) {
  connect();
  wait(1s, input);
  pass(2s);
  wait(3s, input);
  EXPECT_EQ(m_state.timeLeft(), 26s);
}

TEST_F(LoopStateTest, WaitsNoTimeWhenInputTookItAll) {
  connect();
  EXPECT_EQ(wait(31s, input), Pass::Input);
  EXPECT_EQ(begin(), 0s) << "never negative";
  EXPECT_EQ(end(0s, timedOut), Pass::Kick);
}

TEST_F(LoopStateTest, WaitsThirtySecondsAfterAnInterruption) {
  connect();
  wait(10s, input);
  EXPECT_EQ(wait(7s, interrupted), Pass::Interrupted);
  EXPECT_EQ(begin(), 30s);
}

TEST_F(LoopStateTest, WaitsThirtySecondsAnewWithoutConnectionToo) {
  wait(0s, timedOut);
  m_state.connectFailed();
  EXPECT_EQ(wait(1s, interrupted), Pass::Interrupted);
  EXPECT_EQ(begin(), 30s);
  EXPECT_EQ(end(30s, timedOut), Pass::Connect);
}

TEST_F(LoopStateTest, TriesToConnectFiveSecondsAfterALoss) {
  connect();
  wait(2s, input);
  m_state.connectionLost();
  EXPECT_FALSE(m_state.isConnected());
  EXPECT_EQ(begin(), 5s);
  EXPECT_EQ(end(5s, timedOut), Pass::Connect);
}

TEST_F(LoopStateTest, EndsTheWaitForAReminderAndGoesOnWithTheTimeOut) {
  connect();
  EXPECT_EQ(begin(12s), 12s);
  EXPECT_EQ(end(12s, timedOut), Pass::Reminder);
  EXPECT_EQ(begin(), 18s);
  EXPECT_EQ(end(18s, timedOut), Pass::Kick);
}

TEST_F(LoopStateTest, DoesNotWaitForAReminderThatHasPassed) {
  connect();
  EXPECT_EQ(begin(-1s), 0s);
  EXPECT_EQ(end(0s, timedOut), Pass::Reminder);
  EXPECT_EQ(begin(), 30s);
}

TEST_F(LoopStateTest, TimesOutWhenTheReminderIsNotEarlier) {
  connect();
  EXPECT_EQ(begin(30s), 30s);
  EXPECT_EQ(end(30s, timedOut), Pass::Kick);
  EXPECT_EQ(begin(31s), 30s);
  EXPECT_EQ(end(30s, timedOut), Pass::Kick);
}

TEST_F(LoopStateTest, TakesInputAndInterruptionsAsSuchWithAReminder) {
  connect();
  begin(1s);
  EXPECT_EQ(end(500ms, input), Pass::Input);
  begin(1s);
  EXPECT_EQ(end(500ms, interrupted), Pass::Interrupted);
}

TEST_F(LoopStateTest, TimesOutAtTheNextWaitAfterALateReminder) {
  connect();
  begin(29s);
  EXPECT_EQ(end(31s, timedOut), Pass::Reminder);
  EXPECT_EQ(begin(), 0s);
  EXPECT_EQ(end(0s, timedOut), Pass::Kick);
}

}  // namespace
