#include "frame/AnswerWatch.h"

#include <gtest/gtest.h>

namespace {

using namespace std::chrono_literals;
using Verdict = AnswerWatch::Verdict;

class AnswerWatchTest : public ::testing::Test {
 protected:
  using Time = AnswerWatch::Time;

  void limit(std::chrono::seconds limit) { m_watch = AnswerWatch(limit); }
  void send() { m_ring = {true, m_now, m_ring.issReady}; }
  void answer() { m_ring.outstanding = false; }
  void lose() {
    m_ring.issReady = false;
    m_watch.connectionLost(m_ring);
  }
  void ready() { m_ring.issReady = true; }
  /// What a look gives after this time more.
  Verdict after(AnswerWatch::Duration time) {
    m_now += time;
    return m_watch.look(m_now, m_ring);
  }
  /// Waits as the loop does, until a look says something; how long that took.
  AnswerWatch::Duration until(Verdict wanted) {
    const Time began = m_now;
    for (int looks = 0; looks < 200000; ++looks) {
      const Verdict verdict = m_watch.look(m_now, m_ring);
      if (verdict == wanted) return m_now - began;
      EXPECT_EQ(verdict, Verdict::Quiet);
      EXPECT_GT(m_watch.lookAgain(), m_now) << "the loop must not spin";
      m_now = m_watch.lookAgain();
    }
    ADD_FAILURE() << "never";
    return {};
  }
  std::chrono::seconds age() const { return m_watch.age(m_now); }

  Time m_now = Time(100h);
  AnswerWatch::Ring m_ring{false, {}, true};
  AnswerWatch m_watch{0s};
};

TEST_F(AnswerWatchTest, IsNotAskedForAtFirst) {
  EXPECT_EQ(m_watch.lookAgain(), Time::max());
}

TEST_F(AnswerWatchTest, SaysNothingOfAMessageThatIsAnswered) {
  send();
  EXPECT_EQ(after(0s), Verdict::Quiet);
  EXPECT_EQ(after(59s), Verdict::Quiet);
  answer();
  EXPECT_EQ(after(100s), Verdict::Quiet);
}

TEST_F(AnswerWatchTest, TellsAfterAMinuteAndThenEveryTenMinutes) {
  send();
  EXPECT_EQ(until(Verdict::TellWaiting), 60s);
  EXPECT_EQ(age(), 60s);
  EXPECT_EQ(until(Verdict::TellWaiting), 600s);
  EXPECT_EQ(until(Verdict::TellWaiting), 600s);
  EXPECT_EQ(age(), 1260s);
  EXPECT_EQ(after(599s), Verdict::Quiet);
}

TEST_F(AnswerWatchTest, TellsOnceThatTheMessageIsAnswered) {
  send();
  until(Verdict::TellWaiting);
  answer();
  EXPECT_EQ(after(15s), Verdict::TellAnswered);
  EXPECT_EQ(age(), 75s);
  EXPECT_EQ(after(0s), Verdict::Quiet);
}

TEST_F(AnswerWatchTest, TellsItAlsoWhenTheNextMessageIsAlreadyOut) {
  send();
  until(Verdict::TellWaiting);
  m_now += 5s;
  send();
  EXPECT_EQ(after(1s), Verdict::TellAnswered);
  EXPECT_EQ(age(), 66s);
  EXPECT_EQ(after(0s), Verdict::Quiet);
  EXPECT_EQ(until(Verdict::TellWaiting), 59s) << "the next one's own minute";
}

TEST_F(AnswerWatchTest, CountsFromTheSendingAndNotFromTheFirstLook) {
  send();
  EXPECT_EQ(after(90s), Verdict::TellWaiting);
  EXPECT_EQ(age(), 90s);
}

TEST_F(AnswerWatchTest, WithoutALimitGivesNothingUp) {
  send();
  lose();
  ready();
  EXPECT_EQ(after(1s), Verdict::Quiet);
  EXPECT_EQ(until(Verdict::TellWaiting), 59s);
  for (int i = 0; i < 1000; ++i) EXPECT_EQ(after(600s), Verdict::TellWaiting);
}

TEST_F(AnswerWatchTest, GivesUpAtTheLimitToTheMoment) {
  limit(2s);
  send();
  EXPECT_EQ(after(1999ms), Verdict::Quiet);
  EXPECT_EQ(m_watch.lookAgain(), m_now + 1ms);
  EXPECT_EQ(after(1ms), Verdict::GiveUpLate);
  EXPECT_EQ(age(), 2s);
}

TEST_F(AnswerWatchTest, FindsAMessageInTimeWhileNothingElseHappens) {
  limit(7s);
  EXPECT_EQ(after(0s), Verdict::Quiet);
  const Time wakes = m_watch.lookAgain();
  EXPECT_EQ(wakes, m_now + 7s);
  m_now += 1ms;
  send();
  m_now = wakes;
  EXPECT_EQ(until(Verdict::GiveUpLate), 1ms);
  EXPECT_EQ(age(), 7s);
}

TEST_F(AnswerWatchTest, NeedsOneLookAMinuteWhileNothingIsOut) {
  EXPECT_EQ(after(0s), Verdict::Quiet);
  EXPECT_EQ(m_watch.lookAgain(), m_now + 60s);
  limit(86400s);
  EXPECT_EQ(after(0s), Verdict::Quiet);
  EXPECT_EQ(m_watch.lookAgain(), m_now + 60s);
}

TEST_F(AnswerWatchTest, TellsBeforeALongLimitAndNotOfAnAnswerAfterIt) {
  limit(100s);
  send();
  EXPECT_EQ(until(Verdict::TellWaiting), 60s);
  EXPECT_EQ(until(Verdict::GiveUpLate), 40s);
  answer();
  EXPECT_EQ(after(1s), Verdict::Quiet) << "it was not answered";
}

TEST_F(AnswerWatchTest, GivesUpALostMessageAsSoonAsIssIsReadyAgain) {
  limit(86400s);
  send();
  lose();
  EXPECT_EQ(after(10s), Verdict::Quiet);
  lose();
  EXPECT_EQ(after(10s), Verdict::Quiet) << "two losses in a row";
  ready();
  EXPECT_EQ(after(0s), Verdict::GiveUpLost);
  EXPECT_EQ(age(), 20s);
}

TEST_F(AnswerWatchTest, GivesUpALostMessageThoughIssIsNotBack) {
  limit(3s);
  send();
  lose();
  EXPECT_EQ(until(Verdict::GiveUpLateOffline), 3s);
}

TEST_F(AnswerWatchTest, DoesNotTakeTheNextMessageForTheLostOne) {
  limit(86400s);
  send();
  lose();
  answer();
  ready();
  EXPECT_EQ(after(6s), Verdict::Quiet) << "it was answered after all";
  send();
  EXPECT_EQ(after(1s), Verdict::Quiet);
}

TEST_F(AnswerWatchTest, ALossWithNothingOutConcernsNoMessage) {
  limit(86400s);
  lose();
  ready();
  send();
  EXPECT_EQ(after(1s), Verdict::Quiet);
}

TEST_F(AnswerWatchTest, TellsOfARingThatIsHeldForAMinute) {
  int looks = 0;
  Verdict verdict = m_watch.busy(m_now);
  for (; verdict == Verdict::Quiet && looks < 1000; ++looks) {
    m_now = m_watch.lookAgain();
    verdict = m_watch.busy(m_now);
  }
  EXPECT_EQ(looks, 300);
  EXPECT_EQ(verdict, Verdict::TellBlocked);
  EXPECT_EQ(age(), 60s);
  m_now += 599s;
  EXPECT_EQ(m_watch.busy(m_now), Verdict::Quiet);
  m_now += 1s;
  EXPECT_EQ(m_watch.busy(m_now), Verdict::TellBlocked);
  EXPECT_EQ(age(), 660s);
  EXPECT_EQ(after(1s), Verdict::TellUnblocked);
  EXPECT_EQ(after(0s), Verdict::Quiet);
}

TEST_F(AnswerWatchTest, DoesNotAddUpTheTimesInWhichARingIsHeld) {
  for (int i = 0; i < 1000; ++i) {
    m_now += 200ms;
    EXPECT_EQ(m_watch.busy(m_now), Verdict::Quiet);
    EXPECT_EQ(after(200ms), Verdict::Quiet);
  }
}

}  // namespace
