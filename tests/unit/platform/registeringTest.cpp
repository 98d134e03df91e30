#include <gmock/gmock.h>

#include "Manager.h"
#include "busFixture.h"
#include "failCalls.h"
#include "support/memory.h"

namespace {

using namespace busTest;
using By = failing::Call::By;

/// A component that receives the same signals under two names.
struct Receiver {
  struct Service : OBredundantInfo_1_0_SI {
    using OBredundantInfo_1_0_SI::setRedundantState;
    explicit Service(const char* busInterfaceName) : name(busInterfaceName) {}
    void register_interface(OBcomponent* component) override {
      stub = std::make_unique<OBredundantInfo_1_0_S>(this, component);
      agreed = stub->register_signal(name, [this] { standing = true; });
    }
    void setRedundantState(int32_t state) override { got = state; }

    const char* name;
    std::unique_ptr<OBredundantInfo_1_0_S> stub;
    std::atomic<bool> agreed{false};
    std::atomic<bool> standing{false};
    std::atomic<int32_t> got{-1};
  };

  Receiver() {
    thread = std::thread([this] {
      OBcomponent bus("Tested", nullptr);
      bus.add_interface(&first);
      bus.add_interface(&second);
      filled = true;
      bus.start(0);
    });
  }
  ~Receiver() {
    waitFor([] { return OBcomponent::static_obc.load() != nullptr; });
    OBcomponent::static_obc.load()->sendKillMsgToSelf();
    thread.join();
  }

  Service first{"state_signal"};
  Service second{"other_signal"};
  std::atomic<bool> filled{false};
  std::thread thread;
};

class Registering : public BusTest {
 protected:
  bool told(const std::string& what, size_t times = 1) const { return m_log.count(what) == times; }
};

TEST_F(Registering, IsTriedAgainUntilTheBusAgrees) {
  std::atomic<int> refusals{0};
  const std::function<int()> refuse = [&] {
    // The first request of each name, and the first time that they are made again.
    if (++refusals < 4) failing::callAsync.whenCalled(By::Others, refuse);
    return -EIO;
  };
  failing::callAsync.whenCalled(By::Others, refuse);
  Receiver tested;
  ASSERT_TRUE(waitFor([&] { return tested.filled.load(); }));
  EXPECT_FALSE(tested.first.agreed);
  EXPECT_FALSE(tested.second.agreed);
  for (const char* name : {"state_signal", "other_signal"}) {
    EXPECT_TRUE(told(std::string("Signals of ") + name +
                     " cannot be received, trying again every 5 s: Input/output error"));
  }
  EXPECT_TRUE(waitFor([&] { return tested.first.standing && tested.second.standing; }));
  EXPECT_EQ(refusals, 4);
  EXPECT_TRUE(told("[ERROR] otnbus:", 2)) << "it is told once";
  EXPECT_TRUE(told("Signals of state_signal are received now"));
  EXPECT_TRUE(told("Signals of other_signal are received now"));
  Peer manager(m_bus);
  ASSERT_TRUE(manager.own("otn.redundancyManager"));
  sendState(manager, nullptr, "i", 4);
  EXPECT_TRUE(waitFor([&] { return tested.first.got == 4; }));
}

TEST_F(Registering, TellsARequestThatCannotBeMade) {
  failing::newMethodCall.fail(By::Others, -ENOMEM);
  Receiver tested;
  ASSERT_TRUE(waitFor([&] { return tested.filled.load(); }));
  EXPECT_FALSE(tested.first.agreed);
  EXPECT_TRUE(tested.second.agreed);
  EXPECT_TRUE(
      told("Signals of state_signal cannot be received, trying again every 5 s: Cannot allocate memory"));
}

TEST_F(Registering, TellsABusThatIsLostMeanwhile) {
  failing::callAsync.whenCalled(By::Others, [] {
    failing::process.fail(By::Others, -ECONNRESET);
    return 0;
  });
  Receiver tested;
  ASSERT_TRUE(waitFor([&] { return tested.filled.load(); }));
  EXPECT_FALSE(tested.first.agreed);
  EXPECT_TRUE(
      told("Signals of state_signal cannot be received, trying again every 5 s: Connection reset by peer"));
}

TEST_F(Registering, TellsThatThereIsNoMemoryForAStep) {
  // The owner's match, its name: whose answer the memory does not suffice for.
  for (const int step : {0, 1}) {
    m_log.clear();
    const NoMemoryElsewhere lack(NoMemoryElsewhere::From::Begin);
    failing::callAsync.whenCalled(
        By::Others,
        [&] {
          lack.begin();
          return 0;
        },
        step);
    m_log.onLine([&](const std::string& line) {
      if (line.find("there is no memory to ask") != std::string::npos) lack.end();
    });
    Receiver tested;
    ASSERT_TRUE(waitFor([&] { return tested.filled.load(); }));
    m_log.onLine(nullptr);
    EXPECT_FALSE(tested.first.agreed);
    EXPECT_TRUE(told(
        "Signals of state_signal cannot be received, trying again every 5 s: there is no memory to ask"));
  }
}

/// Whose signals they are is not known, for the bus has not told it.
TEST_F(Registering, LetsNoSignalThroughBeforeItStands) {
  // The match is set, and then the owner is not told: to the one and to the other.
  failing::callAsync.whenCalled(
      By::Others,
      [] {
        failing::callAsync.fail(By::Others, -EIO, 1);
        return -EIO;
      },
      1);
  Receiver tested;
  ASSERT_TRUE(waitFor([&] { return tested.filled.load(); }));
  EXPECT_FALSE(tested.first.agreed);
  EXPECT_FALSE(tested.second.agreed);
  Peer manager(m_bus);
  ASSERT_TRUE(manager.own("otn.redundancyManager"));
  sendState(manager, component, "i", 7);
  EXPECT_TRUE(waitFor([&] { return tested.first.standing.load(); }));
  sendState(manager, component, "i", 8);
  EXPECT_TRUE(waitFor([&] { return tested.first.got != -1; }));
  EXPECT_EQ(tested.first.got, 8);
}

}  // namespace
