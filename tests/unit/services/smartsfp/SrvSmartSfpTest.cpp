#include <pthread.h>

#include <cerrno>

#include "services/failThreads.h"
#include "services/smartsfp/SrvSmartSfp.h"
#include "support/FakeBus.h"
#include "support/Record.h"
#include "support/RingTest.h"
#include "support/memory.h"

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

constexpr const char* worker = "run_iss_SmartSfp_thread";

class SmartSfpRequests : public RingTest {
 protected:
  SmartSfpRequests() {
    FakeBus::clear();
    SrvSmartSfp::createInstance();
  }
  ~SmartSfpRequests() override { SrvSmartSfp::destroyInstance(); }

  static SrvSmartSfp& service() { return SrvSmartSfp::getInstance(); }
  static void withStub() { service().register_interface(nullptr); }
  static void run(const SmartSfpArguments& arguments, uint64_t call = 1) {
    run_iss_SmartSfp_thread(new SmartSfpRequest{&service(), ReplyOwner(FakeBus::call(call)), arguments});
  }
  /// No two of the arguments are the same; the filter is not installed.
  static SmartSfpArguments request(uint32_t enableFilter, uint32_t sendOutPDU) {
    return {"1:128:194:0", enableFilter, 0x51525354, sendOutPDU, 0x8000003, 0x41424344, 0};
  }
  static SmartSfpArguments filter(int32_t fpId, uint32_t pbmp) {
    return {"", 1, 0x51525354, 0, pbmp, 0x41424344, fpId};
  }
  static std::vector<Field> rule(const char* ports, uint32_t fpId, uint32_t actionCode) {
    return {ofType(INTERESTED_PACKET_IND),
            {"entries", Matches{{1, hex("027e51"), hex("ffffff")},
                                {4, hex("b788"), hex("ffff")},
                                {11, hex("027e51f1bc"), hex("ffffffffff")}}},
            {"portList", hex(ports)},
            {"entryKind", 4},
            {"encapType", 1},
            {"ruleWord", 2},
            {"fpId0", fpId},
            {"entryCount", 4},
            {"actionCode", actionCode}};
  }
  static std::vector<Field> pdu(const std::string& pduBytes) {
    return {ofType(SMARTSFP_PDU_CMD), {"pdu", pduBytes}, {"pbmp", 0x8000003}, {"size", 0x41424344}};
  }
  /// The text's PDU holds exactly these bytes.
  static ::testing::AssertionResult holds(const std::string& text, const std::string& pduBytes) {
    SmartSfpArguments arguments = request(0, 1);
    arguments.pdu = text;
    SmartSfpBatch batch;
    buildSmartSfpMessages(arguments, batch);
    if (batch.count != 1) return ::testing::AssertionFailure() << batch.count << " messages";
    return hasExactly(batch.messages[0], pdu(pduBytes));
  }
  static ::testing::AssertionResult makesRule(const SmartSfpArguments& arguments,
                                              const std::vector<Field>& fields) {
    SmartSfpBatch batch;
    buildSmartSfpMessages(arguments, batch);
    if (batch.count != 1) return ::testing::AssertionFailure() << batch.count << " messages";
    return hasExactly(batch.messages[0], fields);
  }

  static std::string line(const std::string& level, const std::string& text) {
    return loggedAnywhere(level, "SrvSmartSfp", worker, text);
  }
  static std::string overflow() { return line("ERROR", "Buffer overflow, message lost!\n"); }

  static void expectSlot(int index, int msgNo, int msgCount, const SmartSfpArguments& a) {
    const MsgArrayEntry& slot = MsgArray[index];
    EXPECT_EQ(slot.smartSfpService, &service());
    EXPECT_NE(slot.reply, nullptr);
    EXPECT_EQ(slot.msgNo, msgNo);
    EXPECT_EQ(slot.msgCount, msgCount);
    EXPECT_EQ(static_cast<int>(slot.source), 5);
    const SavedArguments& saved = slot.arguments;
    EXPECT_EQ(saved.enableFilter, a.enableFilter);
    EXPECT_EQ(saved.action, a.action);
    EXPECT_EQ(saved.sendOutPDU, a.sendOutPDU);
    EXPECT_EQ(saved.pbmp, a.pbmp);
    EXPECT_EQ(saved.size, a.size);
  }
  /// Answered once, with all of the request's values.
  static void expectEcho(uint64_t call, const SmartSfpArguments& a) {
    const std::vector<FakeBus::Reply> replies = FakeBus::replies();
    ASSERT_EQ(replies.size(), 1U);
    EXPECT_EQ(replies[0].call, call);
    EXPECT_EQ(replies[0].results,
              (std::vector<OBvalue>{a.enableFilter, a.action, a.sendOutPDU, a.pbmp, a.size, a.pdu}));
    EXPECT_THAT(FakeBus::released(), IsEmpty());
  }
  static void releaseQueued(int index) { OBstubReply::release(MsgArray[index].reply); }
};

TEST_F(SmartSfpRequests, MakeTheMessagesThatTheyAskForInOrder) {
  withStub();
  for (const uint32_t enableFilter : {0U, 1U, 2U, 0xFFFFFFFFU}) {
    for (const uint32_t sendOutPDU : {0U, 1U, 0x80000000U}) {
      SCOPED_TRACE(::testing::Message() << enableFilter << ' ' << sendOutPDU);
      std::vector<std::vector<Field>> expected;
      if (enableFilter != 0) expected.push_back(rule("c0000010", 0, 1));
      if (sendOutPDU != 0) expected.push_back(pdu(hex("0180c200")));
      const SmartSfpArguments arguments = request(enableFilter, sendOutPDU);
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

TEST_F(SmartSfpRequests, CreateTheFilterWhenThereIsNone) {
  EXPECT_TRUE(makesRule(filter(0, 0x1), rule("80000000", 0, 1)));
  EXPECT_THAT(unnumbered(), ElementsAre(line("DEBUG3", "L2Pbmp=0x1 => portListL2= 0x80 0x00 0x00 0x00"),
                                        line("INFO", "FP 0 action 1")));
  EXPECT_TRUE(makesRule(filter(0, 0), rule("00000000", 0, 1)));
}

TEST_F(SmartSfpRequests, DeleteTheFilterWithoutPorts) {
  EXPECT_TRUE(makesRule(filter(17, 0), rule("00000000", 17, 2)));
  EXPECT_THAT(unnumbered(), ElementsAre(line("DEBUG3", "L2Pbmp=0x0 => portListL2= 0x00 0x00 0x00 0x00"),
                                        line("INFO", "FP 17 action 2")));
}

TEST_F(SmartSfpRequests, ModifyTheFilterThatThereIs) {
  EXPECT_TRUE(makesRule(filter(17, 0x80000001), rule("80000001", 17, 3)));
  EXPECT_THAT(unnumbered(),
              ElementsAre(line("DEBUG3", "L2Pbmp=0x80000001 => portListL2= 0x80 0x00 0x00 0x01"),
                          line("INFO", "FP 17 action 3")));
  EXPECT_TRUE(makesRule(filter(-2, 0x2), rule("40000000", 0xFFFFFFFE, 3)));
  EXPECT_EQ(unnumbered().back(), line("INFO", "FP -2 action 3"));
}

TEST_F(SmartSfpRequests, LeaveTheActionOutOfTheRule) {
  for (const uint32_t action : {0U, 1U, 2U, 3U, 0xFFFFFFFFU}) {
    SmartSfpArguments arguments = filter(17, 0x1);
    arguments.action = action;
    EXPECT_TRUE(makesRule(arguments, rule("80000000", 17, 3)));
  }
}

TEST_F(SmartSfpRequests, KeepTheLowByteOfEachNumberOfThePdu) {
  EXPECT_TRUE(holds("1:2:300", "\x01\x02\x2C"));
  EXPECT_TRUE(holds("256:1", std::string("\x00\x01", 2)));
  EXPECT_TRUE(holds("-1:255", "\xFF\xFF"));
  EXPECT_TRUE(holds("65537:2147483647", "\x01\xFF"));
}

TEST_F(SmartSfpRequests, TakeAnyOneCharacterAsSeparatorOfThePdu) {
  EXPECT_TRUE(holds("1,2;3 4", "\x01\x02\x03\x04"));
  EXPECT_TRUE(holds("7x8", "\x07\x08"));
  EXPECT_TRUE(holds("1:2:", "\x01\x02"));
  EXPECT_TRUE(holds("1: 2", "\x01\x02"));
}

TEST_F(SmartSfpRequests, EndThePduWithTheFirstReadThatFails) {
  EXPECT_TRUE(holds("1::2", "\x01"));
  EXPECT_TRUE(holds("1:x:2", "\x01"));
  EXPECT_TRUE(holds("x1:2", ""));
  EXPECT_TRUE(holds(":1", ""));
  EXPECT_TRUE(holds("", ""));
}

TEST_F(SmartSfpRequests, EndThePduWithItsField) {
  std::string text;
  std::string expected;
  for (unsigned i = 1; i <= 600; ++i) {
    text += std::to_string(i % 255 + 1) + ":";
    if (i <= 516) expected.push_back(static_cast<char>(i % 255 + 1));
    if (i >= 515 && i <= 517) {
      EXPECT_TRUE(holds(text, expected)) << i << " numbers";
    }
  }
  EXPECT_TRUE(holds(text, expected));
}

TEST_F(SmartSfpRequests, DoNotCutThePduToItsSize) {
  SmartSfpArguments arguments = request(0, 1);
  arguments.pdu = "1:2:3";
  arguments.size = 1;
  EXPECT_TRUE(makesRule(
      arguments, {ofType(SMARTSFP_PDU_CMD), {"pdu", "\x01\x02\x03"}, {"pbmp", 0x8000003}, {"size", 1}}));
}

TEST_F(SmartSfpRequests, ForBothMessagesFillTwoSlots) {
  readpointer = 19;
  writepointer = 19;
  const SmartSfpArguments arguments = request(1, 1);
  run(arguments);
  EXPECT_EQ(writepointer, 1);
  expectSlot(19, 1, 2, arguments);
  expectSlot(0, 2, 2, arguments);
  EXPECT_EQ(MsgArray[19].reply, MsgArray[0].reply);
  EXPECT_THAT(
      unnumbered(),
      ElementsAre(line("DEBUG2",
                       "stub-process-thread: enableFilter=1, action=1364349780, sendOutPDU=1,               "
                       "    L2Pbmp=134217731, size=1094861636"),
                  line("DEBUG3", "L2Pbmp=0x8000003 => portListL2= 0xc0 0x00 0x00 0x10"),
                  line("INFO", "FP 0 action 1"),
                  line("DEBUG3", "Size of str:4 m_size:1094861636 pbmp:134217731 fpId=0"),
                  line("DEBUG3", "mutex lock"), line("DEBUG3", "message writepoiter 19"),
                  line("DEBUG3", "message writepoiter 0"), line("DEBUG3", "send signal for sending message"),
                  line("DEBUG3", "mutex unlock")));
  EXPECT_TRUE(ringIsFree());
  releaseQueued(0);
}

TEST_F(SmartSfpRequests, WithoutAMessageGetNoAnswer) {
  withStub();
  run(request(0, 0), 21);
  EXPECT_EQ(writepointer, 0);
  EXPECT_EQ(MsgArray[0].source, MsgSource::None);
  EXPECT_THAT(FakeBus::replies(), IsEmpty());
  EXPECT_THAT(FakeBus::released(), ElementsAre(21U));
  const std::vector<std::string> all = unnumbered();
  ASSERT_EQ(all.size(), 4U);
  EXPECT_EQ(all[1], line("DEBUG3", "mutex lock"));
  EXPECT_EQ(all[2], line("DEBUG3", "send signal for sending message"));
  EXPECT_EQ(all[3], line("DEBUG3", "mutex unlock"));
}

TEST_F(SmartSfpRequests, WakeTheSenderAlsoWithoutAMessage) {
  EXPECT_TRUE(wakesTheSender([] { run(request(0, 0)); }));
}

TEST_F(SmartSfpRequests, HoldTheRingsLockUntilTheyAreQueued) {
  EXPECT_THAT(withLock(worker, [] { run(request(0, 1)); }),
              ElementsAre("locked stub-process-thread: enableFilter=0, action=1364349780, sendOutPDU=1,"
                          "                   L2Pbmp=134217731, size=1094861636",
                          "locked Size of str:4 m_size:1094861636 pbmp:134217731 fpId=0", "locked mutex lock",
                          "locked message writepoiter 0", "locked send signal for sending message",
                          "locked mutex unlock"));
  releaseQueued(0);
}

TEST_F(SmartSfpRequests, ThatDoNotFitAheadOfTheReaderAreAnswered) {
  withStub();
  writepointer = 17;
  run(request(1, 1), 22);
  expectEcho(22, request(1, 1));
  EXPECT_EQ(unnumbered().back(), overflow());
  EXPECT_EQ(writepointer, 17);
  EXPECT_EQ(MsgArray[17].source, MsgSource::None);
  EXPECT_EQ(MsgArray[17].msg.msgType, 0U);
  EXPECT_TRUE(ringIsFree());

  run(request(0, 1), 23);
  EXPECT_EQ(writepointer, 18) << "a single message still fits";
  FakeBus::clear();
  run(request(1, 0), 24);
  expectEcho(24, request(1, 0));
  EXPECT_EQ(writepointer, 18);
  releaseQueued(17);
}

TEST_F(SmartSfpRequests, ThatDoNotFitBehindTheReaderAreAnswered) {
  withStub();
  readpointer = 5;
  writepointer = 3;
  run(request(1, 1), 25);
  expectEcho(25, request(1, 1));
  EXPECT_EQ(unnumbered().back(), overflow());
  EXPECT_EQ(writepointer, 3);
  EXPECT_EQ(MsgArray[3].source, MsgSource::None);
  EXPECT_TRUE(ringIsFree());

  run(request(1, 0), 26);
  EXPECT_EQ(writepointer, 4) << "a single message still fits";
  FakeBus::clear();
  run(request(0, 1), 27);
  expectEcho(27, request(0, 1));
  EXPECT_EQ(writepointer, 4);
  releaseQueued(3);
}

TEST_F(SmartSfpRequests, ThatFindTheRingOneShortOfWrappedAreAnswered) {
  withStub();
  writepointer = 19;
  run(request(0, 0), 28);
  expectEcho(28, request(0, 0));
  EXPECT_EQ(unnumbered().back(), overflow());
}

TEST_F(SmartSfpRequests, WithoutAStubAreReleasedInsteadOfAnswered) {
  writepointer = 18;
  run(request(1, 0), 29);
  EXPECT_THAT(FakeBus::replies(), IsEmpty());
  EXPECT_THAT(FakeBus::released(), ElementsAre(29U));
}

TEST_F(SmartSfpRequests, ReachTheirWorkerWithTheFilterOfTheMoment) {
  withStub();
  EXPECT_THAT(FakeBus::registrations(),
              ElementsAre("asynchronous IssSetSmartSfpAsync OBsetSmartSfpParams_1_0"));
  EXPECT_EQ(service().fpId(), 0);
  service().setFpId(-17);
  EXPECT_THAT(unnumbered(),
              ElementsAre(loggedAnywhere("INFO", "SrvSmartSfp", "setFpId", "smartSfp ID = -17")));
  forget();
  service().setSmartSfpParams(FakeBus::call(30), 1, 12, 13, 0x1, 0xFFFFFFFF, "5:6");
  ASSERT_TRUE(waitForWorkers(20000));
  EXPECT_EQ(unnumbered()[0], loggedAnywhere("DEBUG2", "SrvSmartSfp", "setSmartSfpParams",
                                            "setSmartSfpParams: enableFilter=1, action=12, sendOutPDU=13,    "
                                            "               pbmp=1, size=-1"));
  EXPECT_EQ(lastStackSize(), 131072U);
  EXPECT_EQ(writepointer, 2);
  expectSlot(1, 2, 2, {"", 1, 12, 13, 0x1, 0xFFFFFFFF, 0});
  EXPECT_TRUE(hasExactly(MsgArray[0].msg, rule("80000000", 0xFFFFFFEF, 3)));
  EXPECT_TRUE(hasExactly(
      MsgArray[1].msg, {ofType(SMARTSFP_PDU_CMD), {"pdu", "\x05\x06"}, {"pbmp", 0x1}, {"size", 0xFFFFFFFF}}));
  releaseQueued(0);
}

TEST_F(SmartSfpRequests, TakeTheFilterOfTheMomentOfTheCall) {
  // One more than there are workers: the last one starts when the id has changed, whatever the threads do.
  constexpr int calls = 17;
  service().setFpId(17);
  {
    const Guard guard(&mutex);
    for (uint64_t call = 1; call <= calls; ++call)
      service().setSmartSfpParams(FakeBus::call(call), 1, 0, 0, 0x1, 0, "");
    service().setFpId(99);
  }
  ASSERT_TRUE(waitForWorkers(20000));
  ASSERT_EQ(writepointer, calls);
  for (int i = 0; i < calls; ++i) {
    EXPECT_TRUE(hasExactly(MsgArray[i].msg, rule("80000000", 17, 3))) << i;
    releaseQueued(i);
  }
}

TEST_F(SmartSfpRequests, WithoutAThreadGetNoReply) {
  withStub();
  failNextThread(EAGAIN);
  service().setSmartSfpParams(FakeBus::call(31), 1, 1, 1, 1, 1, "1");
  EXPECT_EQ(unnumbered().back(), loggedAnywhere("ERROR", "SrvSmartSfp", "setSmartSfpParams",
                                                "Failed to create thread: Resource temporarily unavailable"));
  EXPECT_EQ(writepointer, 0);
  EXPECT_THAT(FakeBus::replies(), IsEmpty());
  EXPECT_THAT(FakeBus::released(), ElementsAre(31U));
  EXPECT_TRUE(waitForWorkers(0));
}

TEST_F(SmartSfpRequests, CountByTheirTextWhileTheyWait) {
  EXPECT_EQ((SmartSfpRequest{&service(), ReplyOwner(nullptr), request(1, 1)}.textSize()), 11U);
}

TEST_F(SmartSfpRequests, NeedNoMemoryButTheirOwn) {
  withStub();
  writepointer = 16;
  SmartSfpArguments arguments = request(1, 1);
  arguments.pdu = "1:2:3:4:5:6:7:8:9:10:11:12:13:14:15:16:17:18:19:20";
  auto* const queued = new SmartSfpRequest{&service(), ReplyOwner(FakeBus::call(32)), arguments};
  auto* const refused = new SmartSfpRequest{&service(), ReplyOwner(FakeBus::call(33)), arguments};
  {
    const NoMemory lacking;
    run_iss_SmartSfp_thread(queued);
    run_iss_SmartSfp_thread(refused);
  }
  EXPECT_EQ(writepointer, 18);
  expectSlot(17, 2, 2, arguments);
  expectEcho(33, arguments);
  releaseQueued(17);
}

TEST_F(SmartSfpRequests, HaveNoSynchronousForm) {
  service().setSmartSfpParams(1, 1, 1, 1, 1, "1");
  ASSERT_EQ(lines().size(), 1U);
  EXPECT_THAT(lines()[0], ::testing::StartsWith("[ERROR] OBsetSmartSfpParams_1_0_SI:"));
  EXPECT_THAT(lines()[0],
              ::testing::HasSubstr("(setSmartSfpParams) - Error, this function should never be called ["));
  EXPECT_THAT(lines()[0], ::testing::EndsWith("]]\n"));
  EXPECT_EQ(writepointer, 0);
}

TEST_F(SmartSfpRequests, ShareOneInstance) {
  SrvSmartSfp* const first = &service();
  SrvSmartSfp::createInstance();
  EXPECT_EQ(&service(), first);
}

}  // namespace
