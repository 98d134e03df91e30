#include "services/ServicePattern.h"

#include <cerrno>

#include "services/failThreads.h"
#include "support/FakeBus.h"
#include "support/RingTest.h"

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

struct Gate {
  pthread_mutex_t lock = PTHREAD_MUTEX_INITIALIZER;
  pthread_cond_t changed = PTHREAD_COND_INITIALIZER;
  bool open = false;
  int deleted = 0;
};

struct Job {
  Job(Gate& at, OBstubReply* handle) : gate(at), reply(handle) {}
  ~Job() { ++gate.deleted; }
  Gate& gate;
  ReplyOwner reply;
};

void waitAtGate(Job* argument) {
  const std::unique_ptr<Job> job(argument);
  Gate& gate = job->gate;
  pthread_mutex_lock(&gate.lock);
  while (!gate.open) pthread_cond_wait(&gate.changed, &gate.lock);
  pthread_mutex_unlock(&gate.lock);
}

void open(Gate& gate) {
  pthread_mutex_lock(&gate.lock);
  gate.open = true;
  pthread_cond_broadcast(&gate.changed);
  pthread_mutex_unlock(&gate.lock);
}

class Workers : public RingTest {
 protected:
  Workers() { FakeBus::clear(); }
};

TEST_F(Workers, AreCountedUntilTheLastHasEnded) {
  Gate first;
  Gate second;
  EXPECT_TRUE(waitForWorkers(0));
  ASSERT_EQ(startWorker<waitAtGate>(std::make_unique<Job>(first, nullptr)), 0);
  ASSERT_EQ(startWorker<waitAtGate>(std::make_unique<Job>(second, nullptr)), 0);
  EXPECT_FALSE(waitForWorkers(0));
  EXPECT_FALSE(waitForWorkers(30));
  open(first);
  EXPECT_FALSE(waitForWorkers(30)) << "one still runs";
  open(second);
  EXPECT_TRUE(waitForWorkers(20000));
  EXPECT_EQ(first.deleted, 1);
  EXPECT_EQ(second.deleted, 1);
}

TEST_F(Workers, RunDetachedWithTheCommonStack) {
  Gate gate;
  open(gate);
  ASSERT_EQ(startWorker<waitAtGate>(std::make_unique<Job>(gate, nullptr)), 0);
  EXPECT_EQ(lastStackSize(), 131072U);
  EXPECT_TRUE(waitForWorkers(20000));
}

TEST_F(Workers, ReleaseTheReplyThatNobodyTook) {
  Gate gate;
  open(gate);
  ASSERT_EQ(startWorker<waitAtGate>(std::make_unique<Job>(gate, FakeBus::call(7))), 0);
  ASSERT_TRUE(waitForWorkers(20000));
  EXPECT_THAT(FakeBus::released(), ElementsAre(7U));
}

TEST_F(Workers, ThatCannotStartFreeTheRequestAndItsReply) {
  Gate gate;
  failNextThread(EAGAIN);
  EXPECT_EQ(startWorker<waitAtGate>(std::make_unique<Job>(gate, FakeBus::call(8))), EAGAIN);
  EXPECT_EQ(gate.deleted, 1);
  EXPECT_THAT(FakeBus::released(), ElementsAre(8U));
  EXPECT_TRUE(waitForWorkers(0));
}

TEST_F(Workers, TakeTheReplyFromItsOwnerOnce) {
  OBstubReply* const handle = FakeBus::call(9);
  {
    ReplyOwner owner(handle);
    EXPECT_EQ(owner.take(), handle);
    EXPECT_EQ(owner.take(), nullptr);
  }
  EXPECT_THAT(FakeBus::released(), IsEmpty());
  OBstubReply::release(handle);
}

}  // namespace
