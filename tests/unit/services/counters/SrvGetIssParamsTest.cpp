#include "services/counters/SrvGetIssParams.h"

#include <pthread.h>

#include <cerrno>

#include "services/failThreads.h"
#include "support/FakeBus.h"
#include "support/Record.h"
#include "support/RingTest.h"

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

std::string handlerLine(const std::string& level, int number, const std::string& text) {
  return logged(level, "SrvGetIssParams", number, "getInterfaceReceptionAndTransmissionCounters", text);
}
std::string countersLine(const std::string& level, int number, const std::string& text) {
  return logged(level, "SrvGetIssParams", number, "run_iss_get_data_thread", text);
}
const std::string processing = countersLine("DEBUG3", 39, "Processing getparams message!");
const std::string locked = countersLine("DEBUG3", 74, "mutex lock\n");

class Counters : public RingTest {
 protected:
  Counters() { FakeBus::clear(); }

  void withStub() { m_service.register_interface(nullptr); }
  void run(uint64_t call, uint32_t action = CountersRequest::readCounters) {
    run_iss_get_data_thread(
        new CountersRequest{&m_service, ReplyOwner(FakeBus::call(call)), action,
                            ops::Counters{17, 101, 102, 103, 104, 105, 106, 107, 108, 0xFFFFFFFE}});
  }
  void callFromBus(uint64_t call) {
    m_service.handleGetCounters(FakeBus::call(call), 17, m_values[0], m_values[1], m_values[2], m_values[3],
                                m_values[4], m_values[5], m_values[6], m_values[7], m_values[8]);
  }
  static ::testing::AssertionResult isQueued(int index) {
    return hasExactly(MsgArray[index].msg, {ofType(GET_INTERFACE_RECEPTION_AND_TRANSMISSION_COUNTERS),
                                            {"interfaceNum", 17},
                                            {"rxOctets", 101},
                                            {"rxUnicastPackets", 102},
                                            {"rxDiscarded", 103},
                                            {"rxErrors", 104},
                                            {"rxUnknownProtocol", 105},
                                            {"txOctets", 106},
                                            {"txUnicastPackets", 107},
                                            {"txDiscarded", 108},
                                            {"txErrors", 0xFFFFFFFE}});
  }
  /// Answered at once, as it came, with the ring unlocked and nothing queued since.
  static void expectRefusal(uint64_t call) {
    ASSERT_EQ(FakeBus::replies().size(), 1U);
    EXPECT_EQ(FakeBus::replies()[0].call, call);
    EXPECT_EQ(FakeBus::replies()[0].results,
              (std::vector<OBvalue>{17U, 101U, 102U, 103U, 104U, 105U, 106U, 107U, 108U, 0xFFFFFFFEU}));
    EXPECT_THAT(FakeBus::released(), IsEmpty());
    ASSERT_EQ(pthread_mutex_trylock(&mutex.native), 0);
    pthread_mutex_unlock(&mutex.native);
  }
  static void expectNothingIn(int index) {
    EXPECT_EQ(writepointer, index);
    EXPECT_EQ(MsgArray[index].source, MsgSource::None);
    EXPECT_EQ(MsgArray[index].msg.msgType, 0U);
  }
  static void releaseQueued(int index) { OBstubReply::release(MsgArray[index].reply); }

  SrvGetIssParams m_service;
  uint32_t m_values[9] = {101, 102, 103, 104, 105, 106, 107, 108, 0xFFFFFFFE};
};

TEST_F(Counters, RegisterTheirInterface) {
  EXPECT_EQ(m_service.stub(), nullptr);
  withStub();
  EXPECT_NE(m_service.stub(), nullptr);
  EXPECT_THAT(FakeBus::registrations(), ElementsAre("asynchronous IssGetParams OBgetIssParams_1_0"));
}

TEST_F(Counters, AreOneMessageOfTheirInterface) {
  const OtnIpcMsg msg = countersMessage({4, 1, 2, 3, 0x04030201, 5, 6, 7, 8, 9});
  EXPECT_TRUE(hasExactly(msg, {ofType(GET_INTERFACE_RECEPTION_AND_TRANSMISSION_COUNTERS),
                               {"interfaceNum", 4},
                               {"rxOctets", 1},
                               {"rxUnicastPackets", 2},
                               {"rxDiscarded", 3},
                               {"rxErrors", 0x04030201},
                               {"rxUnknownProtocol", 5},
                               {"txOctets", 6},
                               {"txUnicastPackets", 7},
                               {"txDiscarded", 8},
                               {"txErrors", 9}}));
}

TEST_F(Counters, AreQueuedInTheSlotOfAnEmptyRing) {
  readpointer = 19;
  writepointer = 19;
  run(1);
  EXPECT_EQ(writepointer, 0);
  EXPECT_TRUE(isQueued(19));
  const MsgArrayEntry& slot = MsgArray[19];
  EXPECT_EQ(slot.countersService, &m_service);
  EXPECT_EQ(slot.portParamsService, nullptr);
  EXPECT_NE(slot.reply, nullptr);
  EXPECT_EQ(slot.msgNo, 1);
  EXPECT_EQ(slot.msgCount, 1);
  EXPECT_EQ(static_cast<int>(slot.source), 1);
  EXPECT_THAT(FakeBus::replies(), IsEmpty());
  EXPECT_THAT(
      lines(),
      ElementsAre(
          processing, locked,
          countersLine("DEBUG3", 103,
                       "getInterfaceReceptionAndTransmissionCounters split up in 1 messages to OPS\n"),
          countersLine("DEBUG3", 108, "message writepoiter 19\n"),
          countersLine("DEBUG3", 119, "send signal for sending message"),
          countersLine("DEBUG3", 121, "mutex unlock"), countersLine("DEBUG2", 127, "stopped")));
  releaseQueued(19);
}

TEST_F(Counters, WakeTheSender) {
  EXPECT_TRUE(wakesTheSender([this] { run(1); }));
  releaseQueued(0);
}

TEST_F(Counters, HoldTheRingsLockUntilTheyAreQueued) {
  EXPECT_THAT(
      withLock("run_iss_get_data_thread", [this] { run(1); }),
      ElementsAre("locked Processing getparams message!", "locked mutex lock\n",
                  "locked getInterfaceReceptionAndTransmissionCounters split up in 1 messages to OPS\n",
                  "locked message writepoiter 0\n", "locked send signal for sending message",
                  "locked mutex unlock", "stopped"));
  releaseQueued(0);
}

TEST_F(Counters, AreRefusedWith18EntriesAheadOfTheReader) {
  withStub();
  readpointer = 1;
  writepointer = 19;
  run(2);
  expectRefusal(2);
  expectNothingIn(19);
  EXPECT_THAT(lines(),
              ElementsAre(processing, locked, countersLine("ERROR", 94, "Buffer overflow, message lost!\n")));
}

TEST_F(Counters, AreQueuedWith17EntriesAheadOfTheReader) {
  readpointer = 1;
  writepointer = 18;
  run(3);
  EXPECT_EQ(writepointer, 19);
  EXPECT_TRUE(isQueued(18));
  releaseQueued(18);
}

TEST_F(Counters, AreRefusedRightBehindTheReader) {
  withStub();
  readpointer = 6;
  writepointer = 5;
  run(4);
  expectRefusal(4);
  expectNothingIn(5);
  EXPECT_THAT(lines(),
              ElementsAre(processing, locked, countersLine("ERROR", 81, "Buffer overflow, message lost!\n")));
}

TEST_F(Counters, AreQueuedTwoBehindTheReader) {
  readpointer = 6;
  writepointer = 4;
  run(5);
  EXPECT_EQ(writepointer, 5);
  EXPECT_TRUE(isQueued(4));
  releaseQueued(4);
}

TEST_F(Counters, OfAnotherActionAreRefused) {
  withStub();
  for (const uint32_t action : {0U, 2U, 0xFFFFFFFFU}) {
    FakeBus::clear();
    forget();
    run(6, action);
    expectRefusal(6);
    expectNothingIn(0);
    EXPECT_THAT(lines(),
                ElementsAre(processing, countersLine("WARNING", 63, "Unknown action request in message")));
  }
}

TEST_F(Counters, WithoutAStubAreReleasedInsteadOfAnswered) {
  run(7, 2);
  EXPECT_THAT(FakeBus::replies(), IsEmpty());
  EXPECT_THAT(FakeBus::released(), ElementsAre(7U));
}

TEST_F(Counters, ReachTheirWorkerFromTheHandler) {
  callFromBus(8);
  ASSERT_TRUE(waitForWorkers(20000));
  EXPECT_EQ(lines().front(), handlerLine("DEBUG3", 157, "getIssParam message received over OTNBus\n"));
  EXPECT_EQ(lines()[1], processing);
  EXPECT_EQ(lastStackSize(), 131072U);
  EXPECT_EQ(writepointer, 1);
  EXPECT_TRUE(isQueued(0));
  EXPECT_THAT(FakeBus::replies(), IsEmpty());
  releaseQueued(0);
}

TEST_F(Counters, WithoutAThreadGetNoReply) {
  withStub();
  failNextThread(EAGAIN);
  callFromBus(9);
  EXPECT_EQ(lines().back(),
            handlerLine("ERROR", 184, "Failed to create thread: Resource temporarily unavailable"));
  EXPECT_EQ(writepointer, 0);
  EXPECT_THAT(FakeBus::replies(), IsEmpty());
  EXPECT_THAT(FakeBus::released(), ElementsAre(9U));
  EXPECT_TRUE(waitForWorkers(0));
}

TEST_F(Counters, KeepBothGeneratedFormsAtTheirDefaults) {
  uint32_t* v = m_values;
  m_service.getInterfaceReceptionAndTransmissionCounters(17, v[0], v[1], v[2], v[3], v[4], v[5], v[6], v[7],
                                                         v[8]);
  m_service.getInterfaceReceptionAndTransmissionCounters(FakeBus::call(10), 17, v[0], v[1], v[2], v[3], v[4],
                                                         v[5], v[6], v[7], v[8]);
  const std::vector<std::string> all = unnumbered();
  ASSERT_EQ(all.size(), 2U);
  const std::string start =
      loggedAnywhere("ERROR", "OBgetIssParams_1_0_SI", "getInterfaceReceptionAndTransmissionCounters",
                     "Error, this function should never be called [");
  for (const std::string& each : all) {
    EXPECT_THAT(each, ::testing::StartsWith(start));
    EXPECT_THAT(each, ::testing::EndsWith(")]]\n"));
  }
  EXPECT_THAT(all[1], ::testing::HasSubstr("OBstubReply*"));
  EXPECT_THAT(FakeBus::released(), ElementsAre(10U));
  EXPECT_EQ(writepointer, 0);
}

}  // namespace
