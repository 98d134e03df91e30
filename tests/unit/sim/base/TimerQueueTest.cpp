#include "base/TimerQueue.h"

#include <gmock/gmock.h>

#include <string>

namespace {

using namespace std::chrono_literals;
using sim::Clock;
using Scope = sim::TimerQueue::Scope;

class TimerQueue : public ::testing::Test {
 protected:
  std::function<void()> note(char c) {
    return [this, c] { m_ran += c; };
  }

  const Clock::time_point m_start{1h};
  sim::TimerQueue m_timers;
  std::string m_ran;
};

TEST_F(TimerQueue, RunsWhatIsDueInOrder) {
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

TEST_F(TimerQueue, LeavesWhatIsAddedMeanwhileToTheNextCall) {
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

TEST_F(TimerQueue, CancelsThoseOfAScopeEvenWhenDue) {
  m_timers.at(m_start, Scope::simulator, [this] { m_timers.cancel(Scope::connection); });
  m_timers.at(m_start, Scope::connection, note('a'));
  m_timers.at(m_start + 1s, Scope::connection, note('b'));
  m_timers.at(m_start + 1s, Scope::simulator, note('c'));
  m_timers.run(m_start);
  m_timers.run(m_start + 1s);
  EXPECT_EQ(m_ran, "c");
}

TEST_F(TimerQueue, TellsWhatComesNext) {
  m_timers.at(m_start + 2s, Scope::simulator, note('a'), {"later", 4, true});
  m_timers.at(m_start + 1s, Scope::simulator, note('b'), {"sooner"});
  m_timers.at(m_start, Scope::simulator, note('c'));
  ASSERT_EQ(m_timers.waiting().size(), 2U);
  EXPECT_EQ(m_timers.waiting()[0].note.text, "sooner");
  EXPECT_EQ(m_timers.waiting()[1].due, m_start + 2s);
  EXPECT_EQ(m_timers.size(), 3U);
}

TEST_F(TimerQueue, CancelsThemByWhatTheyAreToldOf) {
  m_timers.at(m_start, Scope::simulator, [this] { m_timers.cancelScheduled(); });
  m_timers.at(m_start, Scope::simulator, note('a'), {"same", 1, true});
  m_timers.at(m_start, Scope::simulator, note('b'), {"same"});
  m_timers.at(m_start + 1s, Scope::connection, note('c'), {"other", 1, true});
  m_timers.run(m_start);
  EXPECT_EQ(m_ran, "b");
  m_timers.at(m_start + 1s, Scope::simulator, note('d'), {"same"});
  m_timers.at(m_start + 1s, Scope::simulator, note('e'), {"same", 1, true});
  m_timers.cancel("same");
  m_timers.run(m_start + 1s);
  EXPECT_EQ(m_ran, "be");
}

}  // namespace
