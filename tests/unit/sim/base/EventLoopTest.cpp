#include "base/EventLoop.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <utility>

namespace {

using namespace std::chrono_literals;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

class EventLoop : public ::testing::Test {
 protected:
  ~EventLoop() override {
    for (const int fd : m_fds) close(fd);
  }

  int descriptor(unsigned count = 0) {
    m_fds.push_back(eventfd(count, EFD_CLOEXEC | EFD_NONBLOCK));
    return m_fds.back();
  }
  sim::EventLoop::Ready note(char what) {
    return [this, what](short) { m_called.push_back(what); };
  }

  sim::EventLoop m_loop;
  std::vector<char> m_called;

 private:
  std::vector<int> m_fds;
};

TEST_F(EventLoop, CallsWhatIsReadyInOrder) {
  m_loop.watch(descriptor(1), POLLIN, note('a'));
  m_loop.watch(descriptor(), POLLIN, note('b'));
  m_loop.watch(descriptor(1), POLLIN, note('c'));
  EXPECT_TRUE(m_loop.runReady());
  EXPECT_THAT(m_called, ElementsAre('a', 'c'));
}

TEST_F(EventLoop, AsksBeforeEachWaitWhatIsWanted) {
  std::optional<short> events;
  m_loop.watch(
      descriptor(1), [&events] { return sim::EventLoop::Interest{events}; }, note('a'));
  EXPECT_FALSE(m_loop.runReady());
  events = POLLIN;
  EXPECT_TRUE(m_loop.runReady());
  EXPECT_THAT(m_called, ElementsAre('a'));
}

TEST_F(EventLoop, TellsAnEndUnlessNothingIsWanted) {
  int ends[2];
  ASSERT_EQ(pipe2(ends, O_CLOEXEC), 0);
  close(ends[1]);
  std::optional<short> events;
  short came = 0;
  m_loop.watch(
      ends[0], [&events] { return sim::EventLoop::Interest{events}; }, [&came](short told) { came = told; });
  EXPECT_FALSE(m_loop.runReady());
  events = short{0};
  EXPECT_TRUE(m_loop.runReady());
  EXPECT_EQ(came, POLLHUP);
  m_loop.forget(ends[0]);
  close(ends[0]);
}

TEST_F(EventLoop, CallsWithoutEventsWhenATimeHasCome) {
  const int fd = descriptor();
  const auto due = sim::Clock::now() + 2ms;
  m_loop.watch(
      fd,
      [due] {
        return sim::EventLoop::Interest{POLLIN, due};
      },
      [this, due](short events) {
        EXPECT_EQ(events, 0);
        EXPECT_GE(sim::Clock::now(), due);
        m_loop.stop();
      });
  m_loop.run(descriptor());
}

TEST_F(EventLoop, CallsNothingThatWasForgottenMeanwhile) {
  const int other = descriptor(1);
  m_loop.watch(descriptor(1), POLLIN, [this, other](short) {
    m_loop.forget(other);
    // The number of a closed descriptor comes again at once.
    m_loop.watch(other, POLLIN, note('n'));
  });
  m_loop.watch(other, POLLIN, note('o'));
  m_loop.runReady();
  EXPECT_THAT(m_called, IsEmpty());
}

TEST_F(EventLoop, LetsACallForgetItself) {
  const int fd = descriptor(1);
  const std::string kept(100, 'x');
  m_loop.watch(fd, POLLIN, [this, fd, kept](short) {
    m_loop.forget(fd);
    m_called.push_back(kept[99]);
  });
  m_loop.runReady();
  EXPECT_THAT(m_called, ElementsAre('x'));
  EXPECT_FALSE(m_loop.runReady());
}

TEST_F(EventLoop, RunsItsTimersWhenTheyAreDue) {
  const auto due = sim::Clock::now() + 2ms;
  m_loop.timers().at(due, sim::TimerQueue::Scope::simulator, [this] { m_loop.stop(); });
  m_loop.run(descriptor());
  EXPECT_GE(sim::Clock::now(), due);
}

TEST_F(EventLoop, EndsWhenTheStopIsReadable) {
  m_loop.watch(descriptor(1), POLLIN, note('a'));
  m_loop.run(descriptor(1));
  EXPECT_THAT(m_called, IsEmpty());
}

}  // namespace
