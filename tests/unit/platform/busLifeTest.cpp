// The bus's start, loss and end, and the redundancy query at registration.
#include <gmock/gmock.h>

#include "Manager.h"
#include "busFixture.h"
#include "stopPending.h"

namespace {

using namespace busTest;

int countSignal(sd_bus_message*, void* counter, sd_bus_error*) {
  ++*static_cast<int*>(counter);
  return 0;
}

TEST_F(BusTest, asksTheManager) {
  using Way = Manager::Way;
  for (const Way way : {Way::State, Way::Error, Way::OtherType, Way::Silence}) {
    Manager manager(m_bus, way);
    Component tested;
    ASSERT_TRUE(tested.ready());
    EXPECT_EQ(tested.state.answered, way == Way::State);
    EXPECT_EQ(tested.state.asked, way == Way::State ? 4 : 15);
  }
  Component tested;
  ASSERT_TRUE(tested.ready());
  EXPECT_FALSE(tested.state.answered);
}

TEST_F(BusTest, waitsForItsName) {
  Peer other(m_bus);
  ASSERT_TRUE(other.own(component));
  int changes = 0;
  sd_bus_match_signal(other.bus(), nullptr, nullptr, nullptr, nullptr, "NameOwnerChanged", countSignal,
                      &changes);
  Component tested;
  EXPECT_TRUE(waitFor([&] { return m_log.count("is not on the bus yet") == 1; }));
  EXPECT_EQ(m_log.count("trying again: the name belongs to another"), 1U);
  EXPECT_FALSE(tested.named);
  // Each attempt is one connection, which comes and goes.
  const auto tooOften = [&] {
    while (other.process()) {
    }
    return changes > 6;
  };
  EXPECT_FALSE(waitFor(tooOften, std::chrono::milliseconds(500)));
  other.disown(component);
  ASSERT_TRUE(tested.ready());
  EXPECT_EQ(setPort(other, 1), "");
}

TEST_F(BusTest, waitsForTheBusAndCanBeKilledMeanwhile) {
  m_bus.stop();
  {
    Component tested;
    EXPECT_TRUE(waitFor([&] { return m_log.count("is not on the bus yet") == 1; }));
    OBcomponent::static_obc.load()->sendKillMsgToSelf();
    EXPECT_TRUE(waitFor([&] { return tested.stopped.load(); }));
  }
  Component tested;
  EXPECT_TRUE(waitFor([&] { return m_log.count("is not on the bus yet") == 2; }));
  ASSERT_TRUE(m_bus.start());
  ASSERT_TRUE(tested.ready());
}

TEST_F(BusTest, givesUpOnASilentBusWhenTheProcessStops) {
  Component tested(Component::Until::Named);
  ASSERT_TRUE(waitFor([&] { return tested.named.load(); }));
  m_bus.suspend();
  otn::setStopping(true);
  tested.mayFill = true;
  // The bus itself has ten seconds for each answer.
  EXPECT_TRUE(waitFor([&] { return tested.filled.load(); }, std::chrono::seconds(5)));
  m_bus.resume();
  otn::setStopping(false);
}

TEST_F(BusTest, sleepsWhileNothingComes) {
  Component tested;
  ASSERT_TRUE(tested.ready());
  Peer peer(m_bus);
  EXPECT_EQ(setPort(peer, 1), "");
  EXPECT_TRUE(sleeps());
}

TEST_F(BusTest, givesASlowBusTimeToTakeTheRepliesAtTheKill) {
  Component tested;
  tested.sfp.keeping = true;
  ASSERT_TRUE(tested.ready());
  Peer peer(m_bus);
  constexpr int calls = 20;
  int answered[2] = {};
  for (int i = 0; i < calls; ++i) sendText(peer, 10, answered);
  ASSERT_TRUE(pump(peer, [&] { return tested.sfp.calls == calls; }));
  m_bus.suspend();
  // More than the socket holds.
  tested.sfp.answerKept(std::string(1U << 20, 'x'));
  OBcomponent::static_obc.load()->sendKillMsgToSelf();
  EXPECT_FALSE(waitFor([&] { return tested.stopped.load(); }, std::chrono::milliseconds(50)));
  m_bus.resume();
}

TEST_F(BusTest, obeysAKillBeforeTheStart) {
  Component tested(Component::Until::Filled);
  ASSERT_TRUE(tested.ready());
  OBcomponent::static_obc.load()->sendKillMsgToSelf();
  tested.mayStart = true;
  EXPECT_TRUE(waitFor([&] { return tested.stopped.load(); }));
}

TEST_F(BusTest, flushesRepliesAndDropsCallsAtTheKill) {
  Component tested;
  ASSERT_TRUE(tested.ready());
  Peer peer(m_bus);
  int answered[2] = {};
  int dropped[2] = {};
  sendPort(peer, 0, answered);
  ASSERT_TRUE(pump(peer, [&] { return tested.ports.calls == 1; }));
  sendPort(peer, 99, dropped);
  sendPort(peer, 1, dropped);
  ASSERT_TRUE(pump(peer, [&] { return tested.ports.blocked.load(); }));
  OBstubReply* kept = nullptr;
  ASSERT_TRUE(waitFor([&] { return (kept = tested.ports.takeKept()) != nullptr; }));
  OBcomponent::static_obc.load()->sendKillMsgToSelf();
  tested.ports.stub().setPortParams_reply(kept, 1, 2, 3, 4, true, 5, 6, 7);
  tested.ports.opened = true;
  EXPECT_TRUE(waitFor([&] { return tested.stopped.load(); }));
  EXPECT_TRUE(pump(peer, [&] { return answered[0] == 1; }));
  EXPECT_EQ(tested.ports.calls, 2) << "a queued call was carried out after the kill";
}

TEST_F(BusTest, endsThoughTheBusDoesNotRead) {
  Component tested;
  ASSERT_TRUE(tested.ready());
  m_bus.suspend();
  // 65,536 signals take the emulator of a processor its time.
  const auto filled = [&] {
    for (int i = 0; i < 1000; ++i) tested.ports.stub().linkStatusChange_signal(7, true, false);
    return m_log.count("takes no more signals") == 1;
  };
  EXPECT_TRUE(waitFor(filled, std::chrono::seconds(100)));
  OBcomponent::static_obc.load()->sendKillMsgToSelf();
  EXPECT_TRUE(waitFor([&] { return tested.stopped.load(); }));
  m_bus.resume();
}

TEST_F(BusTest, leavesLateHandlesInert) {
  Component tested;
  ASSERT_TRUE(tested.ready());
  Peer peer(m_bus);
  int answers[2] = {};
  sendPort(peer, 0, answers);
  sendPort(peer, 0, answers);
  ASSERT_TRUE(pump(peer, [&] { return tested.ports.calls == 2; }));
  OBstubReply* first = tested.ports.takeKept();
  OBstubReply* second = tested.ports.takeKept();
  tested.stop();
  tested.ports.stub().setPortParams_reply(first, 1, 2, 3, 4, true, 5, 6, 7);
  OBstubReply::release(second);
  tested.ports.stub().issStatusChange_signal(true);
  EXPECT_EQ(answers[0], 0);
}

/// The bus goes away: the process gets SIGTERM, after one line.
void loseTheBus(PrivateBus& bus, const SyslogCapture& log) {
  bus.stop();
  sigset_t stop;
  sigemptyset(&stop);
  sigaddset(&stop, SIGTERM);
  const timespec limit{20, 0};
  EXPECT_EQ(sigtimedwait(&stop, nullptr, &limit), SIGTERM);
  EXPECT_EQ(log.count("[CRITICAL] otnbus:"), 1U);
}

TEST_F(BusTest, stopsTheProcessWhenTheBusIsLost) {
  Component tested;
  ASSERT_TRUE(tested.ready());
  Peer peer(m_bus);
  EXPECT_EQ(setPort(peer, 1), "");
  loseTheBus(m_bus, m_log);
}

TEST_F(BusTest, stopsTheProcessWhenTheBusIsLostWhileAHandlerBlocks) {
  Component tested;
  ASSERT_TRUE(tested.ready());
  Peer peer(m_bus);
  int answers[2] = {};
  sendPort(peer, 0, answers);
  sendPort(peer, 99, answers);
  ASSERT_TRUE(pump(peer, [&] { return tested.ports.blocked.load(); }));
  loseTheBus(m_bus, m_log);
  EXPECT_TRUE(tested.ports.blocked);
  tested.ports.answer(tested.ports.takeKept());
  tested.ports.stub().issStatusChange_signal(true);
  tested.stop();
  EXPECT_EQ(m_log.count("[CRITICAL] otnbus:"), 1U);
}

}  // namespace
