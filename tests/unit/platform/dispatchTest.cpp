#include "Manager.h"
#include "busFixture.h"
#include "failCalls.h"
#include "support/memory.h"

namespace {

using namespace busTest;
using By = failing::Call::By;

class Dispatch : public BusTest {
 protected:
  /// The bus thread is in a handler; what `sendMore` sends waits for it.
  void withCallsWaiting(Component& tested, Peer& peer, const std::function<void()>& sendMore) {
    sendPort(peer, 99, m_answers);
    ASSERT_TRUE(pump(peer, [&] { return tested.ports.blocked.load(); }));
    sendMore();
    // Answered by who has the bus, after all that came before.
    EXPECT_EQ(peer.call(component, portPath, "org.freedesktop.DBus.Introspectable", "Introspect"), "");
  }
  static void expectLost(const SyslogCapture& log, const char* why) {
    sigset_t stop;
    sigemptyset(&stop);
    sigaddset(&stop, SIGTERM);
    const timespec limit{20, 0};
    EXPECT_EQ(sigtimedwait(&stop, nullptr, &limit), SIGTERM);
    EXPECT_EQ(log.count(std::string("[CRITICAL] otnbus:")), 1U);
    EXPECT_EQ(log.count(std::string("The bus connection is lost: ") + why), 1U);
  }

  int m_answers[2] = {};
};

TEST_F(Dispatch, CallThatCannotBeServedForMemoryIsTold) {
  Component tested;
  ASSERT_TRUE(tested.ready());
  Peer peer(m_bus);
  withCallsWaiting(tested, peer, [&] { sendPort(peer, 1, m_answers); });
  {
    const NoMemoryElsewhere lack;
    tested.ports.opened = true;
    EXPECT_TRUE(waitFor(
        [&] { return m_log.count("There is no memory to serve a call, its caller gets no reply") == 1; }));
  }
  EXPECT_EQ(setPort(peer, 2), "");
  EXPECT_EQ(tested.ports.calls, 2);
  EXPECT_TRUE(pump(peer, [&] { return m_answers[0] == 1; })) << "the handler that blocked has its reply";
}

TEST_F(Dispatch, CallOfAServiceThatHasGoneIsForgotten) {
  Component tested;
  ASSERT_TRUE(tested.ready());
  Peer peer(m_bus);
  int dropped[2] = {};
  withCallsWaiting(tested, peer, [&] { sendText(peer, 10, dropped); });
  tested.sfp.leave();
  tested.ports.opened = true;
  EXPECT_EQ(setPort(peer, 2), "");
  EXPECT_EQ(tested.sfp.calls, 0);
  EXPECT_EQ(dropped[0] + dropped[1], 0);
  EXPECT_EQ(peer.call(component, sfpPath, nullptr, "setSmartSfpParams"), unknownObject);
}

TEST_F(Dispatch, WithoutADeputyIsNone) {
  failing::createThread.fail(By::Others, EAGAIN);
  Component tested;
  ASSERT_TRUE(tested.ready());
  expectLost(m_log, "Resource temporarily unavailable");
}

TEST_F(Dispatch, EndsWhenTheBusCannotBeWaitedFor) {
  Component tested;
  ASSERT_TRUE(tested.ready());
  Peer peer(m_bus);
  failing::getEvents.fail(By::Others, -ENOTCONN);
  sendPort(peer, 1, m_answers);
  EXPECT_TRUE(pump(peer, [] { return failing::getEvents.done(); }));
  expectLost(m_log, "Transport endpoint is not connected");
}

TEST_F(Dispatch, EndsWhenTheBusCannotBeReadWhileAHandlerBlocks) {
  Component tested;
  ASSERT_TRUE(tested.ready());
  Peer peer(m_bus);
  withCallsWaiting(tested, peer, [] {});
  failing::process.fail(By::Others, -EIO);
  sendPort(peer, 1, m_answers);
  EXPECT_TRUE(pump(peer, [] { return failing::process.done(); }));
  expectLost(m_log, "Input/output error");
  EXPECT_TRUE(tested.ports.blocked);
}

TEST_F(Dispatch, WaitsForMemoryThatTheBusLibraryLacks) {
  Component tested;
  ASSERT_TRUE(tested.ready());
  Peer peer(m_bus);
  failing::process.fail(By::Others, -ENOMEM);
  EXPECT_EQ(setPort(peer, 1), "");
  EXPECT_EQ(m_log.count("[WARNING] otnbus:"), 1U);
  EXPECT_EQ(m_log.count("There is no memory for a message from the bus, trying again"), 1U);
}

TEST_F(Dispatch, TellsTheNextLackOfMemoryAgain) {
  Component tested;
  ASSERT_TRUE(tested.ready());
  Peer peer(m_bus);
  withCallsWaiting(tested, peer, [] {});
  // For a look at which nothing has come; the one after that finds memory.
  std::atomic<bool> found{false};
  failing::process.whenCalled(By::Others, [&] {
    failing::process.whenCalled(By::Others, [&] {
      failing::process.fail(By::Others, -ENOMEM);
      found = true;
      return 0;
    });
    return -ENOMEM;
  });
  tested.ports.opened = true;
  const auto told = [&] {
    return m_log.count("There is no memory for a message from the bus, trying again");
  };
  EXPECT_TRUE(waitFor([&] { return found.load(); }));
  EXPECT_EQ(told(), 1U);
  EXPECT_EQ(setPort(peer, 1), "");
  EXPECT_TRUE(failing::process.done());
  EXPECT_EQ(told(), 2U);
}

}  // namespace
