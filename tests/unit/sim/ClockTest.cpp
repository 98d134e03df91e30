#include "Clock.h"

#include <gmock/gmock.h>

#include <string>

namespace {

using namespace std::chrono_literals;
using sim::Clock;
using Scope = sim::TimerQueue::Scope;

class Timers : public ::testing::Test {
 protected:
  std::function<void()> note(char c) {
    return [this, c] { m_ran += c; };
  }

  const Clock::time_point m_start{1h};
  sim::TimerQueue m_timers;
  std::string m_ran;
};

TEST_F(Timers, RunWhatIsDueInOrder) {
  m_timers.at(m_start + 2ms, Scope::simulator, note('b'));
  m_timers.at(m_start + 1ms, Scope::connection, note('a'));
  m_timers.at(m_start + 2ms, Scope::simulator, note('c'));
  m_timers.at(m_start + 3ms, Scope::simulator, note('d'));
  EXPECT_EQ(m_timers.next(), m_start + 1ms);
  m_timers.run(m_start);
  EXPECT_EQ(m_ran, "");
  m_timers.run(m_start + 2ms);
  EXPECT_EQ(m_ran, "abc");
  EXPECT_EQ(m_timers.next(), m_start + 3ms);
}

TEST_F(Timers, LeaveWhatIsAddedMeanwhileToTheNextCall) {
  m_timers.at(m_start, Scope::simulator, [this] {
    m_ran += 'a';
    m_timers.at(m_start, Scope::simulator, note('b'));
  });
  m_timers.run(m_start);
  EXPECT_EQ(m_ran, "a");
  m_timers.run(m_start);
  EXPECT_EQ(m_ran, "ab");
  EXPECT_EQ(m_timers.next(), Clock::time_point::max());
}

TEST_F(Timers, OfAScopeAreCancelledEvenWhenDue) {
  m_timers.at(m_start, Scope::simulator, [this] { m_timers.cancel(Scope::connection); });
  m_timers.at(m_start, Scope::connection, note('a'));
  m_timers.at(m_start + 1s, Scope::connection, note('b'));
  m_timers.at(m_start + 1s, Scope::simulator, note('c'));
  m_timers.run(m_start);
  m_timers.run(m_start + 1s);
  EXPECT_EQ(m_ran, "c");
}

}  // namespace
