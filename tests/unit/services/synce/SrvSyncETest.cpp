#include <pthread.h>

#include <cerrno>

#include "services/failThreads.h"
#include "services/synce/SrvSyncE.h"
#include "support/FakeBus.h"
#include "support/Record.h"
#include "support/RingTest.h"

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

const std::vector<Field> trapRule = {ofType(INTERESTED_PACKET_IND),
                                     {"entries", Matches{{2, hex("0180c2000002"), hex("ffffffffffff")},
                                                         {4, hex("0988"), hex("ffff")},
                                                         {11, hex("0a0019a70001"), hex("ffffffffffff")}}},
                                     {"portList", hex("fffffff0")},
                                     {"entryKind", 1},
                                     {"encapType", 1},
                                     {"ruleWord", 2},
                                     {"entryCount", 3},
                                     {"actionCode", 1}};

class SyncERequests : public RingTest {
 protected:
  SyncERequests() { FakeBus::clear(); }

  void withStub() { m_service.register_interface(nullptr); }
  void run(const SyncEArguments& arguments, uint64_t call = 1) {
    run_iss_syncE_thread(new SyncERequest{&m_service, ReplyOwner(FakeBus::call(call)), arguments});
  }
  /// No two of the arguments are the same.
  static SyncEArguments request(uint32_t enableFilter, uint32_t enableClk, uint32_t sendPdu) {
    return {enableFilter, 0x11121314, enableClk,  0x21222324, 0x31323334,
            sendPdu,      0x81828384, 0x91929394, 0xFFFFFFFF};
  }
  static std::vector<Field> command(uint32_t enableClk) {
    return {ofType(SYNCE_CMD),
            {"enableClk", enableClk},
            {"slot", 0x11121314},
            {"clksrc", 0x21222324},
            {"phymode", 0x31323334}};
  }
  static std::vector<Field> pdu() {
    return {ofType(SYNCE_PDU_CMD),
            {"pduWord1", 0x81828384},
            {"pduWord2", 0x91929394},
            {"pduWord3", 0xFFFFFFFF},
            {"isResponse", 0}};
  }

  static std::string line(const std::string& level, int number, const std::string& text) {
    return logged(level, "SrvSyncE", number, "run_iss_syncE_thread", text);
  }
  static std::string queuedAt(int index) {
    return line("DEBUG3", 145, "message writepoiter " + std::to_string(index) + "\n");
  }

  void expectSlot(int index, int msgNo, int msgCount, const SyncEArguments& a) {
    const MsgArrayEntry& slot = MsgArray[index];
    EXPECT_EQ(slot.syncEService, &m_service);
    EXPECT_NE(slot.reply, nullptr);
    EXPECT_EQ(slot.msgNo, msgNo);
    EXPECT_EQ(slot.msgCount, msgCount);
    EXPECT_EQ(static_cast<int>(slot.source), 3);
    const SavedArguments& saved = slot.arguments;
    EXPECT_EQ(saved.enableFilter, a.enableFilter);
    EXPECT_EQ(saved.slot, a.slot);
    EXPECT_EQ(saved.enableClk, a.enableClk);
    EXPECT_EQ(saved.clksrc, a.clksrc);
    EXPECT_EQ(saved.phymode, a.phymode);
    EXPECT_EQ(saved.sendPdu, a.sendPdu);
    EXPECT_EQ(saved.pduWord1, a.pduWord1);
    EXPECT_EQ(saved.pduWord2, a.pduWord2);
    EXPECT_EQ(saved.pduWord3, a.pduWord3);
  }
  /// Answered once, with the nine arguments unchanged.
  static void expectEcho(uint64_t call, const SyncEArguments& a) {
    const std::vector<FakeBus::Reply> replies = FakeBus::replies();
    ASSERT_EQ(replies.size(), 1U);
    EXPECT_EQ(replies[0].call, call);
    EXPECT_EQ(replies[0].results,
              (std::vector<OBvalue>{a.enableFilter, a.slot, a.enableClk, a.clksrc, a.phymode, a.sendPdu,
                                    a.pduWord1, a.pduWord2, a.pduWord3}));
    EXPECT_THAT(FakeBus::released(), IsEmpty());
  }
  static void releaseQueued(int index) { OBstubReply::release(MsgArray[index].reply); }

  SrvSyncE m_service;
};

TEST_F(SyncERequests, MakeTheMessagesThatTheyAskForInOrder) {
  withStub();
  for (const uint32_t enableFilter : {0U, 1U, 2U, 3U, 0xFFFFFFFFU}) {
    for (const uint32_t enableClk : {0U, 1U, 0x80000000U}) {
      for (const uint32_t sendPdu : {0U, 1U, 0xFFFFFFFFU}) {
        SCOPED_TRACE(::testing::Message() << enableFilter << ' ' << enableClk << ' ' << sendPdu);
        std::vector<std::vector<Field>> expected;
        if (enableFilter == 2) expected.push_back(trapRule);
        if (enableClk != 0) expected.push_back(command(enableClk));
        if (sendPdu != 0) expected.push_back(pdu());
        const SyncEArguments arguments = request(enableFilter, enableClk, sendPdu);
        resetRing();
        FakeBus::clear();
        run(arguments, 20);
        const int count = static_cast<int>(expected.size());
        ASSERT_EQ(writepointer, count);
        for (int i = 0; i < count; ++i) {
          expectSlot(i, i + 1, count, arguments);
          EXPECT_TRUE(hasExactly(MsgArray[i].msg, expected[static_cast<size_t>(i)])) << "message " << i + 1;
        }
        EXPECT_THAT(FakeBus::replies(), IsEmpty());
        if (count == 0)
          EXPECT_THAT(FakeBus::released(), ElementsAre(20U));
        else
          releaseQueued(0);
      }
    }
  }
}

TEST_F(SyncERequests, ForAllThreeMessagesFillThreeSlots) {
  readpointer = 18;
  writepointer = 18;
  const SyncEArguments arguments = request(2, 1, 1);
  run(arguments);
  EXPECT_EQ(writepointer, 1);
  expectSlot(18, 1, 3, arguments);
  expectSlot(19, 2, 3, arguments);
  expectSlot(0, 3, 3, arguments);
  EXPECT_TRUE(hasExactly(MsgArray[18].msg, trapRule));
  EXPECT_TRUE(hasExactly(MsgArray[19].msg, command(1)));
  EXPECT_TRUE(hasExactly(MsgArray[0].msg, pdu()));
  EXPECT_EQ(MsgArray[18].reply, MsgArray[0].reply);
  EXPECT_THAT(
      lines(),
      ElementsAre(line("DEBUG2", 31, "Processing SetSyncEParam message"),
                  line("DEBUG2", 33,
                       "enableFilter=2,enableClk=1,slot=286397204,clksrc=555885348,phymode=825373492\n"),
                  line("INFO", 39, "creating enable filter message"), line("DEBUG3", 111, "mutex lock"),
                  line("DEBUG3", 140, "SetPortParam split up in 3 messages to OPS\n"), queuedAt(18),
                  queuedAt(19), queuedAt(0), line("DEBUG3", 166, "send signal for sending message"),
                  line("DEBUG3", 168, "mutex unlock"), line("DEBUG2", 174, "stopped")));
  EXPECT_TRUE(ringIsFree());
  releaseQueued(0);
}

TEST_F(SyncERequests, WithoutAMessageGetNoAnswer) {
  withStub();
  run(request(1, 0, 0), 21);
  EXPECT_EQ(writepointer, 0);
  EXPECT_EQ(MsgArray[0].source, MsgSource::None);
  EXPECT_THAT(FakeBus::replies(), IsEmpty());
  EXPECT_THAT(FakeBus::released(), ElementsAre(21U));
  EXPECT_THAT(
      lines(),
      ElementsAre(line("DEBUG2", 31, "Processing SetSyncEParam message"),
                  line("DEBUG2", 33,
                       "enableFilter=1,enableClk=0,slot=286397204,clksrc=555885348,phymode=825373492\n"),
                  line("DEBUG3", 111, "mutex lock"),
                  line("DEBUG3", 140, "SetPortParam split up in 0 messages to OPS\n"),
                  line("DEBUG3", 166, "send signal for sending message"), line("DEBUG3", 168, "mutex unlock"),
                  line("DEBUG2", 174, "stopped")));
}

TEST_F(SyncERequests, WakeTheSenderAlsoWithoutAMessage) {
  EXPECT_TRUE(wakesTheSender([this] { run(request(1, 0, 0)); }));
}

TEST_F(SyncERequests, HoldTheRingsLockUntilTheyAreQueued) {
  EXPECT_THAT(
      withLock("run_iss_syncE_thread", [this] { run(request(2, 0, 0)); }),
      ElementsAre("locked Processing SetSyncEParam message",
                  "locked enableFilter=2,enableClk=0,slot=286397204,clksrc=555885348,phymode=825373492\n",
                  "locked creating enable filter message", "locked mutex lock",
                  "locked SetPortParam split up in 1 messages to OPS\n", "locked message writepoiter 0\n",
                  "locked send signal for sending message", "locked mutex unlock", "stopped"));
  releaseQueued(0);
}

TEST_F(SyncERequests, ThatDoNotFitAheadOfTheReaderAreAnsweredAtOnce) {
  withStub();
  writepointer = 16;
  const SyncEArguments three = request(2, 1, 1);
  run(three, 22);
  expectEcho(22, three);
  EXPECT_EQ(lines().back(), line("ERROR", 131, "Buffer overflow, message lost!\n"));
  EXPECT_EQ(writepointer, 16);
  EXPECT_EQ(MsgArray[16].source, MsgSource::None);
  EXPECT_EQ(MsgArray[16].msg.msgType, 0U);
  EXPECT_TRUE(ringIsFree());

  run(request(0, 1, 1), 23);
  EXPECT_EQ(writepointer, 18) << "two still fit";
  FakeBus::clear();
  run(request(0, 1, 0), 24);
  expectEcho(24, request(0, 1, 0));
  EXPECT_EQ(writepointer, 18);
  releaseQueued(16);
}

TEST_F(SyncERequests, ThatDoNotFitBehindTheReaderAreAnsweredAtOnce) {
  withStub();
  readpointer = 5;
  writepointer = 2;
  const SyncEArguments three = request(2, 1, 1);
  run(three, 25);
  expectEcho(25, three);
  EXPECT_EQ(lines().back(), line("ERROR", 118, "Buffer overflow, message lost!\n"));
  EXPECT_EQ(writepointer, 2);
  EXPECT_EQ(MsgArray[2].source, MsgSource::None);
  EXPECT_TRUE(ringIsFree());

  run(request(2, 0, 1), 26);
  EXPECT_EQ(writepointer, 4) << "two still fit";
  FakeBus::clear();
  run(request(2, 0, 0), 27);
  expectEcho(27, request(2, 0, 0));
  EXPECT_EQ(writepointer, 4);
  releaseQueued(2);
}

TEST_F(SyncERequests, ThatFindTheRingOneShortOfWrappedAreAnswered) {
  withStub();
  writepointer = 19;
  run(request(0, 0, 0), 28);
  expectEcho(28, request(0, 0, 0));
  EXPECT_EQ(lines().back(), line("ERROR", 131, "Buffer overflow, message lost!\n"));
}

TEST_F(SyncERequests, WithoutAStubAreReleasedInsteadOfAnswered) {
  writepointer = 18;
  run(request(0, 1, 0), 29);
  EXPECT_THAT(FakeBus::replies(), IsEmpty());
  EXPECT_THAT(FakeBus::released(), ElementsAre(29U));
}

TEST_F(SyncERequests, ReachTheirWorkerFromTheBus) {
  withStub();
  EXPECT_THAT(FakeBus::registrations(), ElementsAre("asynchronous IssSetSyncEAsync OBsetSyncEParams_1_0"));
  m_service.setSyncEParam(FakeBus::call(30), 0, 12, 13, 14, 0xFFFFFFFF, 16, 17, 18, 19);
  ASSERT_TRUE(waitForWorkers(20000));
  const std::vector<std::string> all = lines();
  ASSERT_GE(all.size(), 2U);
  EXPECT_EQ(all[0], logged("DEBUG2", "SrvSyncE", 202, "setSyncEParam",
                           "setSyncEParam: enableFilter=0,enableClk=13,slot=12,clksrc=14,phymode=-1\n"));
  EXPECT_EQ(all[1], logged("DEBUG3", "SrvSyncE", 204, "setSyncEParam",
                           "SetSyncEParam message received over OTNBus\n"));
  EXPECT_EQ(lastStackSize(), 131072U);
  EXPECT_EQ(writepointer, 2);
  expectSlot(1, 2, 2, {0, 12, 13, 14, 0xFFFFFFFF, 16, 17, 18, 19});
  EXPECT_TRUE(hasExactly(
      MsgArray[0].msg,
      {ofType(SYNCE_CMD), {"enableClk", 13}, {"slot", 12}, {"clksrc", 14}, {"phymode", 0xFFFFFFFF}}));
  EXPECT_TRUE(hasExactly(MsgArray[1].msg,
                         {ofType(SYNCE_PDU_CMD), {"pduWord1", 17}, {"pduWord2", 18}, {"pduWord3", 19}}));
  releaseQueued(0);
}

TEST_F(SyncERequests, WithoutAThreadGetNoReply) {
  withStub();
  failNextThread(EAGAIN);
  m_service.setSyncEParam(FakeBus::call(31), 2, 1, 1, 1, 1, 1, 1, 1, 1);
  EXPECT_EQ(lines().back(), logged("ERROR", "SrvSyncE", 227, "setSyncEParam",
                                   "Failed to create thread: Resource temporarily unavailable"));
  EXPECT_EQ(writepointer, 0);
  EXPECT_THAT(FakeBus::replies(), IsEmpty());
  EXPECT_THAT(FakeBus::released(), ElementsAre(31U));
  EXPECT_TRUE(waitForWorkers(0));
}

TEST_F(SyncERequests, HaveNoSynchronousForm) {
  m_service.setSyncEParam(2, 1, 1, 1, 1, 1, 1, 1, 1);
  ASSERT_EQ(lines().size(), 1U);
  EXPECT_THAT(lines()[0], ::testing::StartsWith("[ERROR] OBsetSyncEParams_1_0_SI:"));
  EXPECT_THAT(lines()[0],
              ::testing::HasSubstr("(setSyncEParam) - Error, this function should never be called ["));
  EXPECT_THAT(lines()[0], ::testing::EndsWith("]]\n"));
  EXPECT_EQ(writepointer, 0);
}

}  // namespace
