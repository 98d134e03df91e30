#include "frame/otnThread.h"

#include <unistd.h>

#include <atomic>
#include <chrono>
#include <filesystem>
#include <string>
#include <thread>

#include "services/pattern/ServicePattern.h"
#include "services/ports/SrvIss.h"
#include "services/rules/SrvIssMgr.h"
#include "services/smartsfp/SrvSmartSfp.h"
#include "support/FakeBus.h"
#include "support/RingTest.h"
#include "support/waitFor.h"

namespace {

using std::chrono::milliseconds;
using std::chrono::steady_clock;
using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

class BusThread : public RingTest {
 protected:
  BusThread() { otnThreadRunning = 0; }
  ~BusThread() override { otnThreadRunning = 0; }
};

TEST_F(BusThread, ThatRunsIsSeenAtOnce) {
  otnThreadRunning = 1;
  const auto before = steady_clock::now();
  EXPECT_TRUE(waitForOtnThread());
  EXPECT_LT(steady_clock::now() - before, milliseconds(900)) << "no step was waited";
}

TEST_F(BusThread, ThatComesUpIsSeenAtTheNextStep) {
  std::thread bus([] { otnThreadRunning = 1; });
  EXPECT_TRUE(waitForOtnThread());
  bus.join();
}

TEST_F(BusThread, ThatDoesNotComeUpIsGivenUpAfterFiveSteps) {
  const auto before = steady_clock::now();
  EXPECT_FALSE(waitForOtnThread());
  EXPECT_GE(steady_clock::now() - before, milliseconds(4900));
  EXPECT_LT(steady_clock::now() - before, milliseconds(5900));
}

/// A component that is told to stop as soon as it starts.
class BusThreadsStop : public BusThread {
 protected:
  BusThreadsStop() { FakeBus::clear(); }
  ~BusThreadsStop() override {
    SrvIss::destroyInstance();
    SrvSmartSfp::destroyInstance();
    SrvIssMgr::destroyInstance();
  }
};

TEST_F(BusThreadsStop, DestroysTheRuleServiceAndKeepsTheOthers) {
  EXPECT_EQ(start_otn_comm(nullptr), nullptr);
  EXPECT_EQ(otnThreadRunning, 1);
  EXPECT_EQ(lines().back(), logged("DEBUG1", "main", 710, "start_otn_comm", "OTNBUS thread stopped"));
  forget();
  EXPECT_THAT(FakeBus::registrations(), Contains("immediate diagnostics OBdiagnostics_1_0"));
  SrvIss::getInstance();
  SrvSmartSfp::getInstance();
  EXPECT_THAT(lines(), IsEmpty());
  SrvIssMgr::getInstance();
  EXPECT_THAT(lines(), ElementsAre(HasSubstr("static SrvIssMgr& SrvIssMgr::getInstance()")));
}

std::atomic<pid_t> worker;

void nameTheWorker(int* request) {
  worker = gettid();
  delete request;
}

TEST_F(BusThreadsStop, EndsTheWorkersThatAreIdle) {
  ASSERT_EQ(startWorker<nameTheWorker>(0), 0);
  ASSERT_TRUE(waitForWorkers(20000));
  const auto task = std::filesystem::path("/proc/self/task") / std::to_string(worker);
  EXPECT_TRUE(exists(task));
  start_otn_comm(nullptr);
  EXPECT_TRUE(waitFor([&task] { return !exists(task); }));
}

void waitForEver(int* request) {
  delete request;
  for (;;) pause();
}

class BusThreadsStopUnderAWorker : public BusThreadsStop {
 protected:
  /// In a process of its own, which ends under the worker as the daemon does: with 0 when all is as it should
  /// be.
  [[noreturn]] void run() {
    if (startWorker<waitForEver>(0) != 0) _exit(1);
    const auto before = steady_clock::now();
    start_otn_comm(nullptr);
    const auto took = steady_clock::now() - before;
    if (took < milliseconds(1000)) _exit(2);
    if (took > milliseconds(1900)) _exit(3);
    forget();
    SrvIssMgr::getInstance();
    _exit(lines().empty() ? 0 : 4);
  }
};

TEST_F(BusThreadsStopUnderAWorker, WaitsASecondAndLeavesAllAlive) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  EXPECT_EXIT(run(), ::testing::ExitedWithCode(0), "");
}

}  // namespace
