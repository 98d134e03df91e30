#include "frame/OutstandingAnswer.h"

#include "frame/mainLines.h"
#include "link/SrvDbg.h"
#include "services/ports/SrvIss.h"
#include "services/rules/SrvIssMgr.h"
#include "services/smartsfp/SrvSmartSfp.h"
#include "services/synce/SrvSyncE.h"
#include "support/DebugTool.h"
#include "support/FakeBus.h"
#include "support/Record.h"
#include "support/RingTest.h"

namespace {

using namespace std::chrono_literals;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

using AnswerLimit = RoomTest;

TEST_F(AnswerLimit, IsNoneWithoutTheVariable) {
  EXPECT_EQ(readAnswerLimit(nullptr), 0s);
  EXPECT_THAT(lines(), IsEmpty());
}

TEST_F(AnswerLimit, IsANumberOfSecondsUpToADay) {
  EXPECT_EQ(readAnswerLimit("1"), 1s);
  EXPECT_EQ(readAnswerLimit("0069"), 69s);
  EXPECT_EQ(readAnswerLimit("86400"), 86400s);
  EXPECT_THAT(unnumbered(),
              ElementsAre(mainLine("INFO", "a message that ISS does not answer within 1 s is given up"),
                          mainLine("INFO", "a message that ISS does not answer within 69 s is given up"),
                          mainLine("INFO", "a message that ISS does not answer within 86400 s is given up")));
}

TEST_F(AnswerLimit, IsNoneForAnythingElse) {
  for (const std::string text : {"", "0", "00", "86401", "99999999999999999999999", "-1", "+1", " 5", "5 ",
                                 "5s", "0x10", "1.5", "1e3", "five"}) {
    forget();
    EXPECT_EQ(readAnswerLimit(text.c_str()), 0s) << text;
    EXPECT_THAT(unnumbered(),
                ElementsAre(mainLine(
                    "ERROR", "TRELVIK_ANSWER_LIMIT is \"" + text.substr(0, text.find_last_not_of(' ') + 1) +
                                 "\" and not a number of seconds from 1 to 86400: no message to ISS "
                                 "is given up")));
  }
}

class GivenUp : public RingTest {
 protected:
  GivenUp() {
    FakeBus::clear();
    SrvIss::createInstance(false);
    SrvIssMgr::createInstance();
    SrvSmartSfp::createInstance();
    SrvIss::getInstance().register_interface(nullptr);
    SrvIssMgr::getInstance().register_interface(nullptr);
    SrvSmartSfp::getInstance().register_interface(nullptr);
    m_syncE.register_interface(nullptr);
    IssProcessing = 1;
    answerOutstanding = true;
  }
  ~GivenUp() override {
    SrvSmartSfp::destroyInstance();
    SrvIssMgr::destroyInstance();
    SrvIss::destroyInstance();
  }

  static MsgArrayEntry& queue(MsgSource source, int msgNo, int msgCount, OBstubReply* reply) {
    MsgArrayEntry& slot = copyToSlot(recordOf({ofType(INTERESTED_PACKET_IND), octet(lastByte, 7)}));
    slot.source = source;
    slot.msgNo = msgNo;
    slot.msgCount = msgCount;
    slot.reply = reply;
    advanceWritePointer();
    return slot;
  }
  void giveUp() {
    forget();
    {
      const Guard guard(&mutex);
      giveUpRequest(m_debugSocket);
    }
    EXPECT_EQ(IssProcessing, 0);
    EXPECT_FALSE(answerOutstanding);
  }
  static void expectOneReply(uint64_t call, const std::vector<OBvalue>& results) {
    ASSERT_EQ(FakeBus::replies().size(), 1U);
    EXPECT_EQ(FakeBus::replies()[0].call, call);
    EXPECT_EQ(FakeBus::replies()[0].results, results);
    EXPECT_THAT(FakeBus::released(), IsEmpty());
  }

  SrvSyncE m_syncE;
  SrvDbg m_debugSocket;
};

TEST_F(GivenUp, ARequestConsumesWhatIsLeftOfItAndNoMore) {
  readpointer = 18;
  writepointer = 18;
  OBstubReply* const reply = FakeBus::call(1);
  for (int msgNo = 1; msgNo <= 3; ++msgNo) {
    MsgArrayEntry& slot = queue(MsgSource::PortParams, msgNo, 3, reply);
    slot.portParamsService = &SrvIss::getInstance();
    slot.arguments = {};
    slot.arguments.action = 2;
    slot.arguments.portNr = 5;
    slot.arguments.bConfigure = 1;
  }
  queue(MsgSource::Redundancy, 1, 1, nullptr);
  giveUp();
  EXPECT_EQ(readpointer, 1);
  EXPECT_EQ(writepointer, 2);
  for (const int slot : {18, 19, 0}) {
    EXPECT_EQ(MsgArray[slot].source, MsgSource::None);
    EXPECT_EQ(MsgArray[slot].reply, nullptr);
  }
  EXPECT_EQ(MsgArray[1].source, MsgSource::Redundancy);
  expectOneReply(1, {2U, 0U, 5U, 0U, true, 0U, 0U, 0U});
}

TEST_F(GivenUp, ARequestEndsWhereTheRingDoes) {
  readpointer = 4;
  writepointer = 4;
  queue(MsgSource::SyncE, 1, 5, FakeBus::call(2)).syncEService = &m_syncE;
  queue(MsgSource::SyncE, 2, 5, nullptr);
  giveUp();
  EXPECT_EQ(readpointer, 6);
  EXPECT_EQ(writepointer, 6);
}

TEST_F(GivenUp, TheLastMessageOfARequestConsumesOne) {
  readpointer = 1;
  writepointer = 1;
  queue(MsgSource::SyncE, 3, 3, FakeBus::call(2)).syncEService = &m_syncE;
  MsgArray[1].arguments.pduWord3 = 9;
  queue(MsgSource::Debug, 1, 1, nullptr);
  giveUp();
  EXPECT_EQ(readpointer, 2);
  expectOneReply(2, {0U, 0U, 0U, 0U, 0U, 0U, 0U, 0U, 9U});
}

TEST_F(GivenUp, ARuleIsAnsweredAsARefusedOne) {
  MsgArrayEntry& slot = queue(MsgSource::IssMgr, 1, 2, FakeBus::call(3));
  slot.issMgrService = &SrvIssMgr::getInstance();
  slot.arguments.ruleType = 1;
  slot.arguments.vlan = 34;
  queue(MsgSource::IssMgr, 2, 2, slot.reply).arguments.dataVfis = "1,2";
  giveUp();
  EXPECT_EQ(readpointer, 2);
  expectOneReply(
      3, {1U, 0U, 0U, 0U, 0, 0U, 0U, 0U, 34U, 0U, 0U, std::string("1,2"), 0U, 0U, 0U, uint16_t{0}, -1, -1});
}

TEST_F(GivenUp, ASmartSfpRequestHandsItsOwnPortsBack) {
  MsgArrayEntry& slot = queue(MsgSource::SmartSfp, 1, 1, FakeBus::call(4));
  slot.smartSfpService = &SrvSmartSfp::getInstance();
  slot.arguments.enableFilter = 1;
  slot.arguments.pbmp = 0x55;
  slot.arguments.size = 7;
  giveUp();
  expectOneReply(4, {1U, 0U, 0U, 0x55U, 7U, std::string()});
  EXPECT_EQ(SrvSmartSfp::getInstance().fpId(), 0);
}

TEST_F(GivenUp, ADebugClientGetsItsOwnBytes) {
  DebugTool tool;
  ASSERT_EQ(m_debugSocket.StartUdpServer(), 0);
  queue(MsgSource::Debug, 1, 1, nullptr);
  giveUp();
  EXPECT_EQ(tool.receive(), recordBytes({ofType(INTERESTED_PACKET_IND), octet(lastByte, 7)}));
  EXPECT_EQ(readpointer, 1);
}

TEST_F(GivenUp, ARedundancyStateIsAnsweredToNobody) {
  queue(MsgSource::Redundancy, 9, 1, nullptr);
  giveUp();
  EXPECT_EQ(readpointer, 1) << "whatever its message number";
  EXPECT_THAT(FakeBus::replies(), IsEmpty());
  EXPECT_THAT(lines(), IsEmpty());
}

TEST_F(GivenUp, ARequestWithoutAServiceIsReleased) {
  OBstubReply* const reply = FakeBus::call(5);
  queue(MsgSource::SmartSfp, 1, 2, reply);
  queue(MsgSource::SmartSfp, 2, 2, reply);
  giveUp();
  EXPECT_EQ(readpointer, 2);
  EXPECT_THAT(FakeBus::replies(), IsEmpty());
  EXPECT_THAT(FakeBus::released(), ElementsAre(5U));
  EXPECT_THAT(unnumbered(),
              ElementsAre(mainLine("ERROR", "no service to send the reply of this answer, source 5")));
}

TEST_F(GivenUp, ASlotOfAnUnknownSourceIsReleased) {
  queue(static_cast<MsgSource>(7), 1, 1, FakeBus::call(6));
  giveUp();
  EXPECT_EQ(readpointer, 1);
  EXPECT_THAT(FakeBus::released(), ElementsAre(6U));
}

TEST_F(GivenUp, ABrokenCountConsumesNoMoreThanTheRingHolds) {
  queue(MsgSource::Redundancy, 1, 1000000, nullptr);
  queue(MsgSource::Redundancy, 1, 1, nullptr);
  giveUp();
  EXPECT_EQ(readpointer, 2);
}

/// The lines, and what becomes of the ring.
class Watched : public GivenUp {
 protected:
  static constexpr auto limit = 90s;

  Watched() {
    answerSentAt = m_sent;
    issReady = 1;
    MsgArrayEntry& slot = queue(MsgSource::PortParams, 1, 2, FakeBus::call(8));
    slot.portParamsService = &SrvIss::getInstance();
    slot.arguments.action = 1;
    slot.arguments.portNr = 5;
    queue(MsgSource::PortParams, 2, 2, slot.reply).portParamsService = &SrvIss::getInstance();
    queue(MsgSource::Redundancy, 1, 1, nullptr);
  }
  bool lookAfter(std::chrono::seconds time) {
    forget();
    return m_answer.look(m_sent + time);
  }
  void loseConnection() {
    const Guard guard(&mutex);
    issReady = 0;
    m_answer.connectionLost();
  }
  static std::string message() {
    return "IssSetLanWanAsync (source 1) message 1 of 2, INTERESTED_PACKET_IND [10], port 5, set up [1]";
  }

  AnswerWatch::Time m_sent = AnswerWatch::Time(100h);
  OutstandingAnswer m_answer{limit, m_debugSocket};
};

TEST_F(Watched, AMessageIsToldOfWithItsAgeAndWhatWaits) {
  EXPECT_FALSE(lookAfter(59s));
  EXPECT_THAT(lines(), IsEmpty());
  EXPECT_FALSE(lookAfter(61s));
  EXPECT_THAT(unnumbered(), ElementsAre(mainLine("WARNING", "no answer from ISS for 61 s: " + message() +
                                                                "; 2 wait behind it")));
  consumeSlot();
  EXPECT_FALSE(lookAfter(62s));
  EXPECT_THAT(unnumbered(), ElementsAre(mainLine("NOTICE", "ISS answered after 62 s: " + message())));
  EXPECT_FALSE(lookAfter(63s));
  EXPECT_THAT(lines(), IsEmpty());
  EXPECT_THAT(FakeBus::replies(), IsEmpty());
  OBstubReply::release(std::exchange(MsgArray[readpointer].reply, nullptr));
}

TEST_F(Watched, ALateRequestIsGivenUpAndTheConnectionClosed) {
  EXPECT_FALSE(lookAfter(60s));
  EXPECT_EQ(m_answer.lookAgain(), m_sent + limit);
  EXPECT_TRUE(lookAfter(90s));
  EXPECT_EQ(unnumbered().at(0),
            mainLine("ERROR",
                     "gave up " + message() +
                         ", sent 90 s ago: ISS did not answer within TRELVIK_ANSWER_LIMIT; its caller gets "
                         "the values of its request, 1 more of its messages are not sent; the connection is "
                         "closed, for a late answer would be taken for another message's"));
  EXPECT_EQ(readpointer, 2);
  EXPECT_EQ(issReady, 0) << "nothing is sent on the connection any more";
  EXPECT_EQ(FakeBus::replies().size(), 1U);
  EXPECT_FALSE(lookAfter(91s));
  EXPECT_THAT(lines(), IsEmpty());
  EXPECT_EQ(FakeBus::replies().size(), 1U);
}

TEST_F(Watched, ALostRequestIsGivenUpOnceIssIsReady) {
  loseConnection();
  EXPECT_FALSE(lookAfter(10s));
  EXPECT_THAT(lines(), IsEmpty());
  issReady = 1;
  EXPECT_FALSE(lookAfter(11s)) << "the new connection stays";
  EXPECT_EQ(unnumbered().at(0),
            mainLine("ERROR",
                     "gave up " + message() +
                         ", sent 11 s ago: the connection was lost before ISS answered; its caller gets the "
                         "values of its request, 1 more of its messages are not sent"));
  EXPECT_EQ(issReady, 1);
  EXPECT_EQ(readpointer, 2);
  EXPECT_EQ(FakeBus::replies().size(), 1U);
}

TEST_F(Watched, ALostRequestIsGivenUpAtTheLimitAndNothingIsClosed) {
  loseConnection();
  lookAfter(60s);
  EXPECT_FALSE(lookAfter(90s));
  EXPECT_EQ(readpointer, 2);
}

TEST_F(Watched, ARingThatIsHeldIsLeftAlone) {
  mutex.lock();
  EXPECT_FALSE(lookAfter(100s));
  EXPECT_EQ(m_answer.lookAgain(), m_sent + 100s + AnswerWatch::busyInterval);
  EXPECT_FALSE(lookAfter(160s));
  EXPECT_THAT(
      unnumbered(),
      ElementsAre(mainLine("WARNING",
                           "ISS has not taken a message for 60 s, and nothing else can be queued or sent: "
                           "RP=0 WP=3")));
  EXPECT_EQ(readpointer, 0);
  mutex.unlock();
  EXPECT_TRUE(lookAfter(161s));
  EXPECT_EQ(unnumbered().at(0), mainLine("NOTICE", "ISS takes messages again"));
  EXPECT_EQ(readpointer, 2);
}

}  // namespace
