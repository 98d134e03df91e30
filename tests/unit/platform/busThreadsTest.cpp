// Which thread does what with the bus: the deputy while a handler blocks, whoever has a reply, nobody else.
#include <gmock/gmock.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <climits>

#include "busFixture.h"
#include "otnbus/Bus.h"
#include "threadSwitches.h"

namespace {

using namespace busTest;
using namespace std::chrono_literals;
using std::chrono::steady_clock;

constexpr const char* deputy = "tv-deputy";

class BusThreads : public BusTest {
 protected:
  /// A handler blocks from here on, and the deputy stands in for it.
  void block(Component& tested, Peer& peer, int* answers) {
    tested.ports.opened = false;
    sendPort(peer, 99, answers);
    ASSERT_TRUE(pump(peer, [&] { return tested.ports.blocked.load(); }));
    EXPECT_EQ(peer.call(component, "/", nullptr, "Introspect"), "");
  }
};

TEST_F(BusThreads, aQuickCallWakesTheBusThreadOnly) {
  Component tested;
  ASSERT_TRUE(tested.ready());
  Peer peer(m_bus);
  EXPECT_EQ(setPort(peer, 1), "");
  // The deputy's timer stands 5 ms ahead, so that calls which come more slowly let it run out between them; a
  // handler that loses its processor for a millisecond has the deputy stand in. A way through the deputy, or
  // through another thread, would wake it at each call, however quick; so the quietest of the rounds counts.
  constexpr long rounds = 10;
  constexpr long calls = 100;
  constexpr long perWakeUp =
      3;  ///< waits: for its timer, and where it stands in for the bus, and to be recalled
  ASSERT_GE(switchesOfOthers(deputy), 0) << "there is no deputy";
  long ofAll = LONG_MAX;
  long tooMany = LONG_MAX;
  for (long round = 0; round < rounds; ++round) {
    const auto began = steady_clock::now();
    const long before = switchesOfOthers();
    const long deputyBefore = switchesOfOthers(deputy);
    for (long i = 0; i < calls; ++i) EXPECT_EQ(setPort(peer, 1), "");
    const long ofDeputy = switchesOfOthers(deputy) - deputyBefore;
    const long wakeUps = static_cast<long>((steady_clock::now() - began) / 5ms) + 1;
    ofAll = std::min(ofAll, switchesOfOthers() - before - ofDeputy);
    tooMany = std::min(tooMany, ofDeputy - perWakeUp * wakeUps);
  }
  EXPECT_LT(ofAll, calls + calls / 5);
  EXPECT_LE(tooMany, 0);
}

TEST_F(BusThreads, theDeputySleepsWhileNothingComes) {
  Component tested;
  ASSERT_TRUE(tested.ready());
  Peer peer(m_bus);
  int answers[2] = {};
  block(tested, peer, answers);
  EXPECT_TRUE(sleeps());
}

TEST_F(BusThreads, sleepAgainAfterAWakeUp) {
  Component tested;
  ASSERT_TRUE(tested.ready());
  Peer peer(m_bus);
  int answers[2] = {};
  block(tested, peer, answers);
  // The deputy wakes the bus thread when it has stood in for it.
  tested.ports.opened = true;
  ASSERT_TRUE(pump(peer, [&] { return answers[0] == 1; }));
  EXPECT_TRUE(sleeps());
}

TEST_F(BusThreads, aReplyWakesNobody) {
  Component tested;
  ASSERT_TRUE(tested.ready());
  Peer peer(m_bus);
  int answers[2] = {};
  constexpr int calls = 100;
  for (int i = 0; i < calls; ++i) sendPort(peer, 0, answers);
  ASSERT_TRUE(pump(peer, [&] { return tested.ports.calls == calls; }));
  const long before = switchesOfOthers();
  for (int given = 1; given <= calls; ++given) {
    tested.ports.answer(tested.ports.takeKept());
    EXPECT_TRUE(pump(peer, [&] { return answers[0] == given; }));
  }
  EXPECT_LT(switchesOfOthers() - before, calls / 10);
}

TEST_F(BusThreads, keepTheOrderOfArrivalWhenTheBusChangesHands) {
  Component tested;
  ASSERT_TRUE(tested.ready());
  Peer peer(m_bus);
  int answers[2] = {};
  block(tested, peer, answers);
  std::vector<uint32_t> expected{99};
  for (uint32_t i = 100; i < 600; ++i) {
    sendPort(peer, i, answers);
    expected.push_back(i);
    if (i == 350) tested.ports.opened = true;
  }
  EXPECT_TRUE(pump(peer, [&] { return answers[0] == 501; }));
  EXPECT_EQ(tested.ports.served(), expected);
}

TEST_F(BusThreads, changeAgainAndAgain) {
  Component tested;
  ASSERT_TRUE(tested.ready());
  Peer peer(m_bus);
  int answers[2] = {};
  for (int round = 1; round <= 20; ++round) {
    block(tested, peer, answers);
    sendPort(peer, 1, answers);
    tested.ports.opened = true;
    EXPECT_TRUE(pump(peer, [&] { return answers[0] == 2 * round; }));
    EXPECT_EQ(setPort(peer, 1), "");
  }
}

TEST_F(BusThreads, serveAnImmediateCallWhileAHandlerBlocks) {
  Component tested;
  ASSERT_TRUE(tested.ready());
  Peer peer(m_bus);
  const auto ask = [&] { return peer.call(component, immediatePath, commonClass, "get_trace_level"); };
  EXPECT_EQ(ask(), "");
  const pid_t busThread = tested.immediate.thread;
  int answers[2] = {};
  block(tested, peer, answers);
  sendPort(peer, 1, answers);
  for (int i = 0; i < 100; ++i) EXPECT_EQ(ask(), "");
  int32_t level = 0;
  ASSERT_GT(sd_bus_message_read(peer.reply(), "i", &level), 0);
  EXPECT_EQ(level, 7);
  EXPECT_NE(tested.immediate.thread, busThread);
  EXPECT_EQ(answers[0], 0) << "an ordinary call still waits";
  tested.ports.opened = true;
  EXPECT_TRUE(pump(peer, [&] { return answers[0] == 2; }));
  EXPECT_EQ(ask(), "");
}

TEST_F(BusThreads, serveOrdinaryCallsWhileImmediateOnesNeverEnd) {
  Component tested;
  ASSERT_TRUE(tested.ready());
  std::atomic<bool> over{false};
  std::atomic<int> asked{0};
  std::vector<std::thread> askers;
  for (int i = 0; i < 4; ++i) {
    askers.emplace_back([&] {
      Peer asker(m_bus);
      while (!over) {
        EXPECT_EQ(asker.call(component, immediatePath, commonClass, "get_trace_level"), "");
        ++asked;
      }
    });
  }
  Peer peer(m_bus);
  for (int i = 0; i < 50; ++i) EXPECT_EQ(setPort(peer, 1), "");
  EXPECT_TRUE(waitFor([&] { return asked > 100; }));
  over = true;
  for (std::thread& asker : askers) asker.join();
}

TEST_F(BusThreads, takeInAndGiveOutSignalsWhileAHandlerBlocks) {
  Component tested;
  ASSERT_TRUE(tested.ready());
  Peer peer(m_bus);
  ASSERT_TRUE(peer.own("otn.redundancyManager"));
  int seen = 0;
  const auto count = [](sd_bus_message*, void* counter, sd_bus_error*) {
    ++*static_cast<int*>(counter);
    return 0;
  };
  ASSERT_GE(sd_bus_match_signal(peer.bus(), nullptr, component, portPath, portClass, "issStatusChange", count,
                                &seen),
            0);
  int answers[2] = {};
  block(tested, peer, answers);
  sendState(peer, nullptr, "i", 3);
  tested.ports.stub().issStatusChange_signal(true);
  EXPECT_TRUE(pump(peer, [&] { return seen == 1; }));
  EXPECT_TRUE(tested.ports.blocked);
  EXPECT_EQ(answers[0], 0);
  tested.ports.opened = true;
  EXPECT_TRUE(waitFor([&] { return tested.state.states() == std::vector<int32_t>{3}; }));
}

TEST_F(BusThreads, leaveWhatTheBusDoesNotTakeToWhoWaitsOnIt) {
  Component tested;
  ASSERT_TRUE(tested.ready());
  Peer peer(m_bus);
  for (const bool blocked : {false, true}) {
    int answers[2] = {};
    constexpr int calls = 7;
    tested.sfp.keeping = true;
    for (int i = 0; i < calls; ++i) sendText(peer, 1 << 20, answers);
    EXPECT_EQ(setPort(peer, 1), "");
    int others[2] = {};
    if (blocked) block(tested, peer, others);
    m_bus.suspend();
    const auto before = std::chrono::steady_clock::now();
    tested.sfp.answerKept(std::string(1 << 20, 'y'));
    EXPECT_LT(std::chrono::steady_clock::now() - before, std::chrono::seconds(10)) << "an answer has waited";
    m_bus.resume();
    EXPECT_TRUE(pump(peer, [&] { return answers[0] == calls; }));
    tested.ports.opened = true;
  }
}

TEST_F(BusThreads, readNoMoreFromABusThatTakesNothing) {
  PrivateBus small("<limit name=\"max_incoming_bytes\">3145728</limit>");
  ASSERT_TRUE(small.start());
  Component tested;
  ASSERT_TRUE(tested.ready());
  // Callers that do not read yet: their answers fill the bus, and then the component.
  constexpr int callers = 25;
  constexpr int each = 2;
  std::deque<Peer> peers;
  std::vector<std::array<int, 2>> answers(callers);
  for (int i = 0; i < callers; ++i) {
    Peer& peer = peers.emplace_back(small);
    for (int k = 0; k < each; ++k) sendText(peer, (1 << 20) - 1, answers[static_cast<size_t>(i)].data());
    ASSERT_GE(sd_bus_flush(peer.bus()), 0);
  }
  const auto everything = [&] { return tested.sfp.calls == callers * each; };
  EXPECT_TRUE(waitFor([&] { return tested.sfp.calls >= 12; }));
  EXPECT_FALSE(waitFor(everything, std::chrono::seconds(1)));
  EXPECT_TRUE(waitFor([&] {
    for (Peer& peer : peers) peer.process();
    return std::all_of(answers.begin(), answers.end(), [](const auto& got) { return got[0] == each; });
  }));
}

TEST_F(BusThreads, answerFromManyThreadsAtOnce) {
  Component tested;
  ASSERT_TRUE(tested.ready());
  Peer peer(m_bus);
  int answers[2] = {};
  constexpr int calls = 1000;
  for (int i = 0; i < calls; ++i) sendPort(peer, 0, answers);
  std::vector<std::thread> threads;
  std::atomic<int> given{0};
  for (int i = 0; i < 8; ++i) {
    threads.emplace_back([&] {
      waitFor([&] {
        while (OBstubReply* reply = tested.ports.takeKept()) {
          tested.ports.answer(reply);
          tested.ports.stub().issStatusChange_signal(true);
          ++given;
        }
        return given == calls;
      });
    });
  }
  EXPECT_TRUE(pump(peer, [&] { return answers[0] == calls; }));
  for (std::thread& thread : threads) thread.join();
}

TEST_F(BusThreads, mayAnswerWhileTheComponentEnds) {
  for (int round = 0; round < 20; ++round) {
    auto tested = std::make_unique<Component>();
    ASSERT_TRUE(tested->ready());
    Peer peer(m_bus);
    int answers[2] = {};
    for (int i = 0; i < 50; ++i) sendPort(peer, 0, answers);
    ASSERT_TRUE(pump(peer, [&] { return tested->ports.calls == 50; }));
    std::thread worker([&] {
      while (OBstubReply* reply = tested->ports.takeKept()) tested->ports.answer(reply);
    });
    OBcomponent::static_obc.load()->sendKillMsgToSelf();
    worker.join();
    EXPECT_TRUE(waitFor([&] { return tested->stopped.load(); }));
  }
}

// Shows under the address and thread sanitizers.
TEST(BusKill, MayBeFollowedByTheEndAsSoonAsItIsSeen) {
  for (int round = 0; round < 300; ++round) {
    auto bus = std::make_unique<otnbus::Bus>();
    std::thread killer([&bus = *bus] { bus.kill(); });
    while (!bus->killed()) std::this_thread::yield();
    bus->awaitKillers();
    bus.reset();
    killer.join();
  }
}

}  // namespace
