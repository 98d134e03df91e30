#include "services/redundancy/SrvRedundancy.h"

#include <cerrno>

#include "services/failThreads.h"
#include "support/FakeBus.h"
#include "support/Record.h"
#include "support/RingTest.h"

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

std::string redundancyLine(const std::string& level, const std::string& text) {
  return loggedAnywhere(level, "SrvRedundancy.cpp", "run_iss_redundancy_thread", text);
}
std::string signalLine(const std::string& name) {
  return loggedAnywhere("INFO", "SrvRedundancy", "setRedundantState",
                        "setRedundantState: redundancyState=" + name + "\n");
}

class RedundancySignal : public RingTest {
 protected:
  RedundancySignal() { FakeBus::clear(); }

  void signal(int32_t state) {
    m_service.setRedundantState(state);
    ASSERT_TRUE(waitForWorkers(20000));
  }

  SrvRedundancy m_service;
};

TEST_F(RedundancySignal, IsForwardedInOneMessage) {
  writepointer = 19;
  readpointer = 19;
  signal(3);
  EXPECT_EQ(writepointer, 0);
  EXPECT_EQ(m_service.redundancyState(), 3);
  const MsgArrayEntry& slot = MsgArray[19];
  EXPECT_TRUE(hasExactly(slot.msg, {ofType(REDUNDANCY_STATE), {"state", 3}}));
  EXPECT_EQ(slot.redundancyService, &m_service);
  EXPECT_EQ(slot.portParamsService, nullptr);
  EXPECT_EQ(slot.reply, nullptr);
  EXPECT_EQ(slot.msgCount, 1);
  EXPECT_EQ(static_cast<int>(slot.source), 6);
  EXPECT_EQ(slot.redundancyState, 3);
  EXPECT_THAT(unnumbered(),
              ElementsAre(signalLine("ACT0"),
                          redundancyLine("DEBUG2", "Processing setRedundantState with state = ACT0\n"),
                          redundancyLine("DEBUG3", "mutex lock"),
                          redundancyLine("DEBUG3", "message writepoiter 19\n"),
                          redundancyLine("DEBUG3", "send signal for sending message"),
                          redundancyLine("DEBUG3", "mutex unlock"),
                          redundancyLine("DEBUG2", "run_iss_redundancy_thread stopped")));
}

TEST_F(RedundancySignal, WakesTheSender) {
  EXPECT_TRUE(wakesTheSender([this] { signal(3); }));
}

TEST_F(RedundancySignal, HoldsTheRingsLockUntilItIsQueued) {
  EXPECT_THAT(withLock("run_iss_redundancy_thread", [this] { signal(3); }),
              ElementsAre("locked Processing setRedundantState with state = ACT0\n", "locked mutex lock",
                          "locked message writepoiter 0\n", "locked send signal for sending message",
                          "locked mutex unlock", "run_iss_redundancy_thread stopped"));
}

TEST_F(RedundancySignal, OutsideTheTableIsForwardedUnchanged) {
  signal(15);
  signal(-1);
  EXPECT_EQ(writepointer, 2);
  EXPECT_TRUE(hasExactly(MsgArray[0].msg, {ofType(REDUNDANCY_STATE), {"state", 15}}));
  EXPECT_TRUE(hasExactly(MsgArray[1].msg, {ofType(REDUNDANCY_STATE), {"state", 0xFFFFFFFF}}));
  EXPECT_EQ(MsgArray[1].redundancyState, -1);
  EXPECT_EQ(m_service.redundancyState(), -1);
  setLevel(6);
  forget();
  signal(-1);
  signal(15);
  EXPECT_THAT(unnumbered(), ElementsAre(signalLine("RED?"), signalLine("RED?")));
}

TEST_F(RedundancySignal, HasItsNames) {
  const char* const names[] = {"INV",  "BTG",  "ACT",  "ACT0", "ACT1", "ACT2", "ACT3", "PAS0",
                               "PAS1", "PAS2", "STB3", "FAIL", "NIS",  "DEF",  "SWO"};
  for (int32_t state = 0; state < 15; ++state) EXPECT_STREQ(redundancyStateName(state), names[state]);
  for (const int32_t state : {-1, 15, 16, INT32_MIN, INT32_MAX})
    EXPECT_STREQ(redundancyStateName(state), "RED?");
}

TEST_F(RedundancySignal, IsLostWithAFullRingButRemembered) {
  writepointer = 18;
  signal(2);
  EXPECT_EQ(writepointer, 18);
  EXPECT_EQ(MsgArray[18].msg.msgType, 0U);
  EXPECT_EQ(MsgArray[18].source, MsgSource::None);
  EXPECT_EQ(m_service.redundancyState(), 2);
  EXPECT_EQ(unnumbered().back(), redundancyLine("ERROR", "Buffer overflow, message lost!\n"));
  EXPECT_EQ(pthread_mutex_trylock(&mutex.native), 0);
  pthread_mutex_unlock(&mutex.native);
}

TEST_F(RedundancySignal, IsLostWithoutAThreadButRemembered) {
  failNextThread(EAGAIN);
  signal(4);
  EXPECT_EQ(writepointer, 0);
  EXPECT_EQ(m_service.redundancyState(), 4);
  EXPECT_THAT(unnumbered(),
              ElementsAre(signalLine("ACT1"),
                          loggedAnywhere("ERROR", "SrvRedundancy", "setRedundantState",
                                         "Failed to create thread: Resource temporarily unavailable")));
}

TEST_F(RedundancySignal, HasNoMethodForm) {
  m_service.setRedundantState(nullptr, 3);
  EXPECT_THAT(lines(),
              ElementsAre(logged("ERROR", "OBredundantInfo_1_0_SI", 38, "setRedundantState",
                                 "Error, this function should never be called [virtual void "
                                 "OBredundantInfo_1_0_SI::setRedundantState(OBstubReply*, int32_t)]]\n")));
  EXPECT_EQ(writepointer, 0);
}

class RedundancyRegistration : public RedundancySignal {
 protected:
  void registerWithAnswer(std::optional<OBvalue> answer) {
    setLevel(6);
    FakeBus::answerQueries(answer);
    m_service.register_interface(nullptr);
    ASSERT_TRUE(waitForWorkers(20000));
    EXPECT_THAT(FakeBus::registrations(), ElementsAre("signal redundant_state_signal OBredundantInfo_1_0"));
    ASSERT_FALSE(lines().empty());
    EXPECT_EQ(unnumbered()[0],
              loggedAnywhere("INFO", "SrvRedundancy", "register_interface",
                             "ask current status to redundancy mgr because we never obtained updates before "
                             "we started"));
  }
};

class RefusedRegistration : public RedundancySignal {
 protected:
  /// What the service does when the bus agrees to the signal at last.
  void agreeWithAnswer(std::optional<OBvalue> answer) {
    setLevel(6);
    FakeBus::refuseSignals();
    FakeBus::answerQueries(int32_t{14});
    m_service.register_interface(nullptr);
    EXPECT_THAT(FakeBus::registrations(), ElementsAre("signal redundant_state_signal OBredundantInfo_1_0"));
    EXPECT_EQ(m_service.redundancyState(), 15);
    EXPECT_THAT(lines(), IsEmpty()) << "it asks though no signal would come";
    FakeBus::answerQueries(answer);
    FakeBus::agreeToSignals();
    ASSERT_TRUE(waitForWorkers(20000));
    ASSERT_FALSE(lines().empty());
    EXPECT_THAT(lines()[0], ::testing::HasSubstr("ask current status to redundancy mgr"));
  }
};

TEST_F(RefusedRegistration, AsksWhenTheBusAgrees) {
  agreeWithAnswer(int32_t{2});
  EXPECT_EQ(m_service.redundancyState(), 2);
  EXPECT_EQ(writepointer, 1);
  EXPECT_TRUE(hasExactly(MsgArray[0].msg, {ofType(REDUNDANCY_STATE), {"state", 2}}));
  EXPECT_EQ(unnumbered()[1], signalLine("ACT"));
}

TEST_F(RefusedRegistration, KeepsAStateAboveTheTableToItself) {
  agreeWithAnswer(int32_t{15});
  EXPECT_EQ(m_service.redundancyState(), 15);
  EXPECT_EQ(writepointer, 0);
}

TEST_F(RefusedRegistration, KeepsTheStateOfASignalWhenNobodyAnswers) {
  FakeBus::refuseSignals();
  m_service.register_interface(nullptr);
  signal(3);
  FakeBus::agreeToSignals();
  ASSERT_TRUE(waitForWorkers(20000));
  EXPECT_EQ(m_service.redundancyState(), 3);
  EXPECT_EQ(writepointer, 1);
}

TEST_F(RedundancyRegistration, AppliesAKnownState) {
  registerWithAnswer(int32_t{14});
  EXPECT_EQ(m_service.redundancyState(), 14);
  EXPECT_EQ(writepointer, 1);
  EXPECT_TRUE(hasExactly(MsgArray[0].msg, {ofType(REDUNDANCY_STATE), {"state", 14}}));
  EXPECT_EQ(unnumbered()[1], signalLine("SWO"));
}

TEST_F(RedundancyRegistration, ComparesTheStateSigned) {
  registerWithAnswer(int32_t{-1});
  EXPECT_EQ(writepointer, 1);
  EXPECT_EQ(m_service.redundancyState(), -1);
}

TEST_F(RedundancyRegistration, KeepsAStateAboveTheTableToItself) {
  registerWithAnswer(int32_t{16});
  EXPECT_EQ(m_service.redundancyState(), 16);
  EXPECT_EQ(writepointer, 0);
  EXPECT_EQ(lines().size(), 1U);
}

TEST_F(RedundancyRegistration, WithoutAnAnswerLeavesTheStateUnknown) {
  registerWithAnswer(std::nullopt);
  EXPECT_EQ(m_service.redundancyState(), 15);
  EXPECT_EQ(writepointer, 0);
  EXPECT_EQ(lines().size(), 1U);
}

}  // namespace
