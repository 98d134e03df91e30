#include "services/pattern/Workers.h"

#include <pthread.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <thread>
#include <vector>

#include "services/failThreads.h"
#include "services/pattern/ServicePattern.h"
#include "support/FakeBus.h"
#include "support/RingTest.h"
#include "support/memory.h"
#include "support/waitFor.h"

namespace {

using std::chrono::milliseconds;
using std::chrono::steady_clock;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

constexpr int mostWorkers = 16;
constexpr int mostWaiting = 1024;

/// Jobs wait at it until it is open, and note there that they ran.
class Gate {
 public:
  void open() {
    pthread_mutex_lock(&m_lock.native);
    m_open = true;
    pthread_cond_broadcast(&m_changed);
    pthread_mutex_unlock(&m_lock.native);
  }
  void pass(int number) {
    pthread_mutex_lock(&m_lock.native);
    ++m_arrived;
    while (!m_open) pthread_cond_wait(&m_changed, &m_lock.native);
    m_passed.push_back(number);
    pthread_mutex_unlock(&m_lock.native);
  }
  int arrived() {
    pthread_mutex_lock(&m_lock.native);
    const int result = m_arrived;
    pthread_mutex_unlock(&m_lock.native);
    return result;
  }
  std::vector<int> passed() {
    pthread_mutex_lock(&m_lock.native);
    std::vector<int> result = m_passed;
    pthread_mutex_unlock(&m_lock.native);
    return result;
  }
  std::atomic<int> deleted{0};

 private:
  Mutex m_lock;
  pthread_cond_t m_changed = PTHREAD_COND_INITIALIZER;
  bool m_open = false;
  int m_arrived = 0;
  std::vector<int> m_passed;
};

struct Job {
  Job(Gate& at, int place, OBstubReply* handle = nullptr, size_t textBytes = 0)
      : gate(&at), number(place), reply(handle), text(textBytes) {}
  Job(Job&& other) noexcept
      : gate(std::exchange(other.gate, nullptr)),
        number(other.number),
        reply(std::move(other.reply)),
        text(other.text) {}
  ~Job() {
    if (gate != nullptr) ++gate->deleted;
  }
  size_t textSize() const { return text; }
  Gate* gate;
  int number;
  ReplyOwner reply;
  size_t text;
};

void waitAtGate(Job* argument) {
  const std::unique_ptr<Job> job(argument);
  job->gate->pass(job->number);
}

int start(Gate& gate, int number = 0, OBstubReply* reply = nullptr, size_t textSize = 0) {
  return startWorker<waitAtGate>(Job(gate, number, reply, textSize));
}

class Workers : public RingTest {
 protected:
  Workers() { FakeBus::clear(); }
  ~Workers() override { failAllThreads(0); }

  /// Every worker that there may be stands at the gate.
  static void occupyAll(Gate& gate) {
    for (int i = 0; i < mostWorkers; ++i) ASSERT_EQ(start(gate, i), 0);
    ASSERT_TRUE(waitFor([&gate] { return gate.arrived() == mostWorkers; }));
  }
  /// One worker stands at the gate, and no further one can be made.
  static void occupyTheOnlyOne(Gate& gate) {
    ASSERT_EQ(start(gate, -1), 0);
    ASSERT_TRUE(waitFor([&gate] { return gate.arrived() == 1; }));
    failAllThreads(EAGAIN);
  }
};

TEST_F(Workers, AreCountedUntilTheLastHasEnded) {
  Gate first;
  Gate second;
  EXPECT_TRUE(waitForWorkers(0));
  ASSERT_EQ(start(first), 0);
  ASSERT_EQ(start(second), 0);
  EXPECT_FALSE(waitForWorkers(0));
  EXPECT_FALSE(waitForWorkers(30));
  first.open();
  EXPECT_FALSE(waitForWorkers(30)) << "one still runs";
  second.open();
  EXPECT_TRUE(waitForWorkers(20000));
  EXPECT_EQ(first.deleted, 1);
  EXPECT_EQ(second.deleted, 1);
}

TEST_F(Workers, CountForTheRequestsThatWaitToo) {
  Gate gate;
  Gate later;
  occupyTheOnlyOne(gate);
  ASSERT_EQ(start(later), 0);
  gate.open();
  ASSERT_TRUE(waitFor([&later] { return later.arrived() == 1; }));
  EXPECT_FALSE(waitForWorkers(0));
  later.open();
  EXPECT_TRUE(waitForWorkers(20000));
}

struct Seen {
  char name[16] = {};
  int detached = -1;
  size_t stackSize = 0;
};

void lookAtOneself(Seen** seen) {
  const std::unique_ptr<Seen*> request(seen);
  pthread_attr_t attr;
  ASSERT_EQ(pthread_getattr_np(pthread_self(), &attr), 0);
  pthread_attr_getdetachstate(&attr, &(*request)->detached);
  pthread_attr_getstacksize(&attr, &(*request)->stackSize);
  pthread_attr_destroy(&attr);
  pthread_getname_np(pthread_self(), (*request)->name, sizeof(*request)->name);
}

TEST_F(Workers, RunDetachedWithTheirNameAndTheCommonStack) {
  Seen seen;
  ASSERT_EQ(startWorker<lookAtOneself>(&seen), 0);
  ASSERT_TRUE(waitForWorkers(20000));
  EXPECT_STREQ(seen.name, "tv-worker");
  EXPECT_EQ(seen.detached, PTHREAD_CREATE_DETACHED);
  EXPECT_EQ(lastStackSize(), 131072U);
  EXPECT_GT(seen.stackSize, 65536U);
}

TEST_F(Workers, ReleaseTheReplyThatNobodyTook) {
  Gate gate;
  gate.open();
  ASSERT_EQ(start(gate, 0, FakeBus::call(7)), 0);
  ASSERT_TRUE(waitForWorkers(20000));
  EXPECT_THAT(FakeBus::released(), ElementsAre(7U));
}

TEST_F(Workers, ThatCannotStartFreeTheRequestAndItsReply) {
  Gate gate;
  failNextThread(EAGAIN);
  EXPECT_EQ(start(gate, 0, FakeBus::call(8)), EAGAIN);
  EXPECT_EQ(gate.deleted, 1);
  EXPECT_THAT(FakeBus::released(), ElementsAre(8U));
  EXPECT_TRUE(waitForWorkers(0));

  gate.open();
  EXPECT_EQ(start(gate, 0), 0) << "the next one may start";
  EXPECT_TRUE(waitForWorkers(20000));
}

void runOutOfMemory(Job* argument) {
  const std::unique_ptr<Job> job(argument);
  const Guard guard(&mutex);
  const NoMemory lacking;
  const std::string text(64, 'x');
  job->gate->pass(static_cast<int>(text.size()));
}

TEST_F(Workers, OutliveARequestThatRunsOutOfMemory) {
  Gate gate;
  gate.open();
  const int before = threadsCreated();
  ASSERT_EQ(startWorker<runOutOfMemory>(Job(gate, 0, FakeBus::call(10))), 0);
  ASSERT_TRUE(waitForWorkers(20000));
  EXPECT_EQ(gate.arrived(), 0);
  EXPECT_EQ(gate.deleted, 1);
  EXPECT_THAT(FakeBus::released(), ElementsAre(10U));
  EXPECT_TRUE(ringIsFree());
  EXPECT_THAT(unnumbered(), ElementsAre(loggedAnywhere("ERROR", "Workers", "carryOut",
                                                       "There is no memory to carry a request out: it is "
                                                       "dropped, its caller gets no reply")));
  ASSERT_EQ(start(gate), 0);
  ASSERT_TRUE(waitForWorkers(20000));
  EXPECT_EQ(threadsCreated() - before, 1) << "the same worker goes on";
}

TEST_F(Workers, AreKeptForTheNextRequest) {
  Gate gate;
  gate.open();
  const int before = threadsCreated();
  for (int i = 0; i < 100; ++i) {
    ASSERT_EQ(start(gate, i), 0);
    ASSERT_TRUE(waitForWorkers(20000));
  }
  EXPECT_EQ(threadsCreated() - before, 1);
  EXPECT_EQ(gate.deleted, 100);
}

TEST_F(Workers, AreMadeWhenNoneIsIdleAndAreSixteenAtMost) {
  Gate gate;
  const int before = threadsCreated();
  for (int i = 0; i < 40; ++i) {
    ASSERT_EQ(start(gate, i), 0);
    EXPECT_EQ(threadsCreated() - before, std::min(i + 1, mostWorkers));
  }
  ASSERT_TRUE(waitFor([&gate] { return gate.arrived() == mostWorkers; }));
  EXPECT_FALSE(waitForWorkers(30));
  EXPECT_EQ(gate.arrived(), mostWorkers) << "the others wait";
  gate.open();
  EXPECT_TRUE(waitForWorkers(20000));
  EXPECT_EQ(gate.deleted, 40);
  EXPECT_EQ(threadsCreated() - before, mostWorkers);
}

TEST_F(Workers, TakeRequestsInTheOrderOfTheirArrival) {
  Gate gate;
  occupyTheOnlyOne(gate);
  std::vector<int> expected{-1};
  // More than places: the waiting requests go round.
  for (int round = 0; round < 3; ++round) {
    for (int i = 0; i < 700; ++i) {
      expected.push_back(static_cast<int>(expected.size()));
      ASSERT_EQ(start(gate, expected.back()), 0) << "another worker is there: the request waits for it";
    }
    gate.open();
    ASSERT_TRUE(waitForWorkers(20000));
  }
  EXPECT_EQ(gate.passed(), expected);
}

TEST_F(Workers, LetTheCallerWaitWhenAllPlacesAreTaken) {
  Gate gate;
  occupyAll(gate);
  for (int i = 0; i < mostWaiting; ++i) ASSERT_EQ(start(gate, i), 0);
  std::atomic<bool> returned{false};
  int result = -1;
  std::thread bus([&] {
    result = start(gate, -2);
    returned = true;
  });
  EXPECT_FALSE(waitFor([&] { return returned.load(); }, milliseconds(50)));
  gate.open();
  bus.join();
  EXPECT_EQ(result, 0);
  EXPECT_TRUE(waitForWorkers(20000));
  EXPECT_EQ(gate.deleted, mostWorkers + mostWaiting + 1);
  const std::vector<int> passed = gate.passed();
  EXPECT_EQ(std::count(passed.begin(), passed.end(), -2), 1);
}

TEST_F(Workers, LetTheCallerWaitWhenTooMuchTextWaits) {
  constexpr size_t mebibyte = 1U << 20;
  Gate gate;
  occupyAll(gate);
  for (int i = 0; i < 16; ++i) ASSERT_EQ(start(gate, i, nullptr, mebibyte), 0);
  ASSERT_EQ(start(gate, 16, nullptr, 0), 0) << "one without text still has its place";
  std::atomic<bool> returned{false};
  std::thread bus([&] {
    start(gate, 17, nullptr, 1);
    returned = true;
  });
  EXPECT_FALSE(waitFor([&] { return returned.load(); }, milliseconds(50)));
  gate.open();
  bus.join();
  EXPECT_TRUE(waitForWorkers(20000));
  EXPECT_EQ(gate.deleted, mostWorkers + 18);
}

TEST_F(Workers, TakeATextThatIsLargerThanAllThatMayWait) {
  Gate gate;
  occupyAll(gate);
  EXPECT_EQ(start(gate, 0, nullptr, 64U << 20), 0) << "nothing else waits";
  gate.open();
  EXPECT_TRUE(waitForWorkers(20000));
}

TEST_F(Workers, EndTheCallersWaitWhenTheProcessStops) {
  Gate gate;
  occupyAll(gate);
  for (int i = 0; i < mostWaiting; ++i) ASSERT_EQ(start(gate, i), 0);
  int result = -1;
  std::thread bus([&] { result = start(gate, -2, FakeBus::call(9)); });
  EXPECT_TRUE(FakeBus::released().empty());
  const auto before = steady_clock::now();
  running = 0;
  bus.join();
  EXPECT_LT(steady_clock::now() - before, milliseconds(1000)) << "well within the 2 s of a stop";
  EXPECT_EQ(result, 0) << "nothing failed";
  EXPECT_THAT(FakeBus::released(), ElementsAre(9U));
  EXPECT_THAT(lines(), IsEmpty());
  gate.open();
  EXPECT_TRUE(waitForWorkers(20000));
  EXPECT_EQ(gate.deleted, mostWorkers + mostWaiting + 1);
  const std::vector<int> passed = gate.passed();
  EXPECT_EQ(std::count(passed.begin(), passed.end(), -2), 0);
}

TEST_F(Workers, EndWhenTheyAreDismissed) {
  Gate gate;
  occupyAll(gate);
  gate.open();
  ASSERT_TRUE(waitForWorkers(20000));
  const int before = threadsCreated();
  dismissWorkers();
  ASSERT_EQ(start(gate), 0);
  EXPECT_EQ(threadsCreated() - before, 1) << "none was left";
  EXPECT_TRUE(waitForWorkers(20000));
  dismissWorkers();
  dismissWorkers();
}

}  // namespace
