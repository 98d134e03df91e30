#include <pthread.h>

#include <cerrno>

#include "services/failThreads.h"
#include "services/rules/IssMgrTest.h"
#include "support/memory.h"

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

class IssMgrRequests : public IssMgrTest {
 protected:
  static void withStub() { service().register_interface(nullptr); }
  static void run(const IssMgrArguments& arguments, uint64_t call = 1) {
    run_iss_IssMgr_thread(new IssMgrRequest{&service(), ReplyOwner(FakeBus::call(call)), arguments});
  }
  static IssMgrArguments second(uint32_t ruleType, uint32_t action, int32_t flushAct) {
    IssMgrArguments arguments = with(request(ruleType, action), 1, 100, 200);
    arguments.flushAct = flushAct;
    arguments.dataVfis = "8,9";
    return arguments;
  }

  /// Answered once, with the request's values, without LLDP values, and with no ids.
  static void expectRefusal(uint64_t call, const IssMgrArguments& a) {
    const std::vector<FakeBus::Reply> replies = FakeBus::replies();
    ASSERT_EQ(replies.size(), 1U);
    EXPECT_EQ(replies[0].call, call);
    EXPECT_EQ(
        replies[0].results,
        (std::vector<OBvalue>{a.ruleType, a.action, a.L2Pbmp, a.MplsPbmp, a.flushAct, a.vpn, a.vp, a.port,
                              a.vlan, a.mplsLbl, a.pwLbl, a.dataVfis, 0U, 0U, 0U, uint16_t{0}, -1, -1}));
    EXPECT_THAT(FakeBus::released(), IsEmpty());
  }
  /// Neither answered nor queued.
  void expectSilence(const IssMgrArguments& arguments) {
    FakeBus::clear();
    forget();
    run(arguments, 77);
    EXPECT_EQ(writepointer, readpointer);
    EXPECT_THAT(FakeBus::replies(), IsEmpty());
    EXPECT_THAT(FakeBus::released(), ElementsAre(77U));
    EXPECT_EQ(lines().back(), workerLine("DEBUG2", 537, "stopped"));
  }
  static void expectSlot(int index, int msgNo, int msgCount, const IssMgrArguments& a) {
    const MsgArrayEntry& slot = MsgArray[index];
    EXPECT_EQ(slot.issMgrService, &service());
    EXPECT_NE(slot.reply, nullptr);
    EXPECT_EQ(slot.msgNo, msgNo);
    EXPECT_EQ(slot.msgCount, msgCount);
    EXPECT_EQ(static_cast<int>(slot.source), 4);
    const SavedArguments& saved = slot.arguments;
    EXPECT_EQ(saved.ruleType, a.ruleType);
    EXPECT_EQ(saved.action, a.action);
    EXPECT_EQ(saved.L2Pbmp, a.L2Pbmp);
    EXPECT_EQ(saved.MplsPbmp, a.MplsPbmp);
    EXPECT_EQ(saved.flushAct, a.flushAct);
    EXPECT_EQ(saved.vpn, a.vpn);
    EXPECT_EQ(saved.vp, a.vp);
    EXPECT_EQ(saved.portNr, a.port);
    EXPECT_EQ(saved.vlan, a.vlan);
    EXPECT_EQ(saved.mplsLbl, a.mplsLbl);
    EXPECT_EQ(saved.pwLbl, a.pwLbl);
    EXPECT_EQ(saved.dataVfis, msgNo == msgCount ? a.dataVfis : "") << "the last one replies";
  }
  static void releaseQueued(int index) { OBstubReply::release(MsgArray[index].reply); }
};

TEST_F(IssMgrRequests, QueueRuleAndFlushAsOneBatch) {
  readpointer = 19;
  writepointer = 19;
  const IssMgrArguments arguments = second(mstpLan, creation, 1);
  run(arguments);
  EXPECT_EQ(writepointer, 1);
  expectSlot(19, 1, 2, arguments);
  expectSlot(0, 2, 2, arguments);
  EXPECT_EQ(MsgArray[19].reply, MsgArray[0].reply);
  EXPECT_EQ(MsgArray[19].msg.msgType, INTERESTED_PACKET_IND);
  EXPECT_TRUE(hasExactly(MsgArray[0].msg, {ofType(FLUSH_CMD), {"vpn", 0x1234}, {"vp", 1}}));
  EXPECT_THAT(FakeBus::replies(), IsEmpty());
  EXPECT_THAT(
      lines(),
      ElementsAre(
          workerLine("DEBUG2", 65,
                     "ruleType=MST_TOPO_LAN, action=CREATE, L2Pbmp=0x5=5 MplsPbmp=0x8000003=134217731, "
                     "flush=1, vpn=4660, vp=1, port=3, vlan=679, mplsLbl=100, pwLbl=200 dataVfis=8,9"),
          workerLine("DEBUG1", 431, "Sending flush cmd"), workerLine("DEBUG3", 471, "mutex lock"),
          workerLine("DEBUG3", 505, "message writepoiter 19\n"),
          workerLine("DEBUG3", 505, "message writepoiter 0\n"),
          workerLine("DEBUG3", 529, "send signal for sending message"),
          workerLine("DEBUG3", 531, "mutex unlock"), workerLine("DEBUG2", 537, "stopped")));
  releaseQueued(0);
}

TEST_F(IssMgrRequests, QueueEveryKindOfRule) {
  int index = 0;
  for (const uint32_t ruleType : {ets, mstpLan, mstpWan, mrp, mrpGlobal, lldp}) {
    const IssMgrArguments arguments = request(ruleType, creation);
    run(arguments);
    ASSERT_EQ(writepointer, index + 1);
    expectSlot(index, 1, 1, arguments);
    EXPECT_EQ(bytesOf(MsgArray[index].msg), bytesOf(built(arguments).messages[0]));
    releaseQueued(index++);
  }
}

TEST_F(IssMgrRequests, ThatAreRefusedQueueNothingAlsoNoFlush) {
  withStub();
  const IssMgrArguments refused[] = {second(mstpLan, deletion, 1),      second(mstpWan, deletion, 1),
                                     second(mstpLan, modification, 0),  second(mstpWan, modification, 2),
                                     with(second(ets, creation, 1), 3), with(second(mrp, creation, 0), 0)};
  uint64_t call = 30;
  for (const IssMgrArguments& arguments : refused) {
    FakeBus::clear();
    run(arguments, ++call);
    expectRefusal(call, arguments);
    EXPECT_EQ(writepointer, 0);
    EXPECT_EQ(MsgArray[0].source, MsgSource::None);
    EXPECT_TRUE(ringIsFree());
  }
}

TEST_F(IssMgrRequests, ThatAreRefusedStillTellOfTheirSecondCommand) {
  run(second(mstpLan, deletion, 1));
  EXPECT_EQ(count(workerLine("DEBUG1", 431, "Sending flush cmd")), 1U);
  run(second(mstpLan, deletion, 2));
  EXPECT_EQ(count(workerLine("DEBUG2", 451, "Flush Key1=5 VLAN=4660 and data vlans=8,9")), 1U);
}

TEST_F(IssMgrRequests, ThatAreRefusedStillMeetTheRingsRule) {
  withStub();
  const IssMgrArguments refused = second(mstpLan, deletion, 1);
  writepointer = 18;
  run(refused, 38);
  expectRefusal(38, refused);
  EXPECT_EQ(lines().back(), workerLine("ERROR", 486, "Buffer overflow, message lost!\n"));

  readpointer = 5;
  writepointer = 4;
  FakeBus::clear();
  run(refused, 39);
  expectRefusal(39, refused);
  EXPECT_EQ(lines().back(), workerLine("ERROR", 478, "Buffer overflow, message lost!\n"));
  EXPECT_EQ(writepointer, 4);
}

TEST_F(IssMgrRequests, OfAnotherVpLogOneError) {
  withStub();
  run(with(request(ets, creation), 3), 40);
  const std::vector<std::string> all = unnumbered();
  EXPECT_EQ(std::count_if(all.begin(), all.end(),
                          [](const std::string& line) { return line.rfind("[ERROR]", 0) == 0; }),
            1);
}

TEST_F(IssMgrRequests, ThatDoNotFitAheadOfTheReaderAreRefusedWhole) {
  withStub();
  writepointer = 17;
  const IssMgrArguments two = second(mrpGlobal, creation, 1);
  run(two, 45);
  expectRefusal(45, two);
  EXPECT_EQ(lines().back(), workerLine("ERROR", 486, "Buffer overflow, message lost!\n"));
  EXPECT_EQ(writepointer, 17);
  EXPECT_EQ(MsgArray[17].source, MsgSource::None);
  EXPECT_EQ(MsgArray[17].msg.msgType, 0U);
  EXPECT_TRUE(ringIsFree());

  run(request(mrpGlobal, creation), 46);
  EXPECT_EQ(writepointer, 18) << "a single message still fits";
  FakeBus::clear();
  run(request(mrpGlobal, creation), 47);
  expectRefusal(47, request(mrpGlobal, creation));
  EXPECT_EQ(writepointer, 18);
  releaseQueued(17);
}

TEST_F(IssMgrRequests, ThatDoNotFitBehindTheReaderAreRefusedAsAWhole) {
  withStub();
  readpointer = 5;
  writepointer = 3;
  const IssMgrArguments two = second(lldp, creation, 2);
  run(two, 48);
  expectRefusal(48, two);
  EXPECT_EQ(lines().back(), workerLine("ERROR", 478, "Buffer overflow, message lost!\n"));
  EXPECT_EQ(writepointer, 3);

  run(request(lldp, creation), 49);
  EXPECT_EQ(writepointer, 4);
  FakeBus::clear();
  run(request(lldp, creation), 50);
  expectRefusal(50, request(lldp, creation));
  EXPECT_EQ(writepointer, 4);
  releaseQueued(3);
}

TEST_F(IssMgrRequests, OfADeleteThatDoesNotFitHaveTakenTheId) {
  withStub();
  service().setMstpLanFpId(4711);
  writepointer = 18;
  run(request(mstpLan, deletion), 51);
  expectRefusal(51, request(mstpLan, deletion));
  EXPECT_EQ(service().mstpLanFpId(), 0U);
}

TEST_F(IssMgrRequests, WithoutAMessageGetNoAnswer) {
  withStub();
  expectSilence(request(flushOnly, creation));
  expectSilence(second(flushOnly, creation, 3));
  expectSilence(request(ets, notApplicable));
  expectSilence(request(mrp, notApplicable));
  expectSilence(request(9, creation));
  EXPECT_EQ(lines()[1],
            workerLine("ERROR", 425, "Processing SetIssMgrParam received an unknown ruleType [9]"));
}

TEST_F(IssMgrRequests, WakeTheSenderAlsoWithoutAMessage) {
  EXPECT_TRUE(wakesTheSender([] { run(request(flushOnly, creation)); }));
}

TEST_F(IssMgrRequests, HoldTheRingsLockUntilTheyAreQueued) {
  EXPECT_THAT(
      withLock("run_iss_IssMgr_thread", [] { run(second(flushOnly, creation, 1)); }),
      ElementsAre("locked ruleType=FLUSH, action=CREATE, L2Pbmp=0x5=5 MplsPbmp=0x8000003=134217731, flush=1, "
                  "vpn=4660, vp=1, port=3, vlan=679, mplsLbl=100, pwLbl=200 dataVfis=8,9",
                  "locked Sending flush cmd", "locked mutex lock", "locked message writepoiter 0\n",
                  "locked send signal for sending message", "locked mutex unlock", "stopped"));
  releaseQueued(0);
}

TEST_F(IssMgrRequests, OfAnUnknownRuleTypeAreAnsweredAfterTheirFlush) {
  withStub();
  const IssMgrArguments arguments = second(9, creation, 1);
  run(arguments);
  EXPECT_EQ(writepointer, 1);
  expectSlot(0, 1, 1, arguments);
  EXPECT_THAT(FakeBus::replies(), IsEmpty());
  releaseQueued(0);
}

TEST_F(IssMgrRequests, WithoutAStubAreReleasedInsteadOfAnswered) {
  run(request(mstpLan, deletion), 52);
  EXPECT_THAT(FakeBus::replies(), IsEmpty());
  EXPECT_THAT(FakeBus::released(), ElementsAre(52U));
}

TEST_F(IssMgrRequests, ReachTheirWorkerFromTheBus) {
  withStub();
  EXPECT_THAT(FakeBus::registrations(), ElementsAre("asynchronous IssSetIssMgrAsync OBsetIssMgrParams_1_0"));
  service().setIssMgrParams(FakeBus::call(53), lldp, deletion, 0xFFFFFFFF, 0x10, -7, 12, 13, 14, 15, 16, 17,
                            "18,19", 20, 21, 22, 23, -24, 25);
  ASSERT_TRUE(waitForWorkers(20000));
  EXPECT_EQ(
      lines()[0],
      logged(
          "DEBUG2", "SrvIssMgr", 591, "setIssMgrParams",
          "ruleType=LLDP, action=DELETE, L2Pbmp=0xffffffff=-1, MplsPbmp=0x10=16, flushAct=-7, vpn=12, vp=13, "
          "port=14, vlan=15, mplsLbl=16, pwLbl=17 dataVfis=18,19 fpId=-24,25"));
  EXPECT_EQ(lastStackSize(), 131072U);
  EXPECT_EQ(writepointer, 1);
  expectSlot(
      0, 1, 1,
      {lldp, deletion, 0xFFFFFFFF, 0x10, -7, 12, 13, 14, 15, 16, 17, -24, 25, "18,19", 20, 21, 22, 23});
  EXPECT_TRUE(hasExactly(
      MsgArray[0].msg,
      {ofType(LLDP_TLV_INFO), {"chassisId", 20}, {"mgmtIp", 22}, {"slotId", 23}, {"actionCode", 2}}));
  releaseQueued(0);
}

TEST_F(IssMgrRequests, HandTheIdsOfTheBusToTheRule) {
  service().setIssMgrParams(FakeBus::call(54), mrpGlobal, creation, 0, 0, 0, 0, 0, 0, 0, 0, 0, "", 0, 0, 0, 0,
                            -24, 25);
  ASSERT_TRUE(waitForWorkers(20000));
  EXPECT_EQ(MsgArray[0].msg.payload.rule.fpId0, static_cast<uint32_t>(-24));
  EXPECT_EQ(MsgArray[0].msg.payload.rule.fpId1, 25U);
  releaseQueued(0);
}

TEST_F(IssMgrRequests, WithoutAThreadGetNoReply) {
  withStub();
  failNextThread(EAGAIN);
  service().setIssMgrParams(FakeBus::call(55), lldp, creation, 0, 0, 1, 0, 0, 0, 0, 0, 0, "", 0, 0, 0, 0, 0,
                            0);
  EXPECT_EQ(lines().back(), logged("ERROR", "SrvIssMgr", 623, "setIssMgrParams",
                                   "Failed to create thread: Resource temporarily unavailable"));
  EXPECT_EQ(writepointer, 0);
  EXPECT_THAT(FakeBus::replies(), IsEmpty());
  EXPECT_THAT(FakeBus::released(), ElementsAre(55U));
  EXPECT_TRUE(waitForWorkers(0));
}

TEST_F(IssMgrRequests, CountByTheirTextWhileTheyWait) {
  EXPECT_EQ((IssMgrRequest{&service(), ReplyOwner(nullptr), second(lldp, creation, 2)}.textSize()), 3U);
}

TEST_F(IssMgrRequests, NeedNoMemoryButTheirOwn) {
  IssMgrArguments arguments = second(mstpLan, creation, 2);
  arguments.dataVfis = "11,12,13,14,15,16,17,18,19,20";
  auto* const request = new IssMgrRequest{&service(), ReplyOwner(FakeBus::call(56)), arguments};
  {
    const NoMemory lacking;
    run_iss_IssMgr_thread(request);
  }
  EXPECT_EQ(writepointer, 2);
  expectSlot(1, 2, 2, arguments);
  EXPECT_TRUE(hasExactly(MsgArray[1].msg, {ofType(MRP_VLAN_MAPPING),
                                           {"key", 0x5},
                                           {"vpn", 0x1234},
                                           {"dataVlans", words({11, 12, 13, 14, 15, 16, 17, 18, 19, 20})}}));
  releaseQueued(1);
}

TEST_F(IssMgrRequests, AreRefusedWithoutFurtherMemory) {
  withStub();
  writepointer = 18;
  IssMgrArguments arguments = second(mstpLan, creation, 2);
  arguments.dataVfis = "11,12,13,14,15,16,17,18,19,20";
  auto* const request = new IssMgrRequest{&service(), ReplyOwner(FakeBus::call(57)), arguments};
  {
    const NoMemory lacking;
    run_iss_IssMgr_thread(request);
  }
  expectRefusal(57, arguments);
}

TEST_F(IssMgrRequests, WithoutMemoryForThemGetNoReply) {
  withStub();
  OBstubReply* const reply = FakeBus::call(58);
  {
    const NoMemory lacking;
    service().setIssMgrParams(reply, lldp, creation, 0, 0, 1, 0, 0, 0, 0, 0, 0, "", 0, 0, 0, 0, 0, 0);
  }
  EXPECT_EQ(lines().back(), logged("ERROR", "SrvIssMgr", 623, "setIssMgrParams",
                                   "Failed to create thread: Cannot allocate memory"));
  EXPECT_EQ(writepointer, 0);
  EXPECT_THAT(FakeBus::released(), ElementsAre(58U));
}

TEST_F(IssMgrRequests, HaveNoSynchronousForm) {
  service().setIssMgrParams(lldp, creation, 0, 0, 1, 0, 0, 0, 0, 0, 0, "", 0, 0, 0, 0, 0, 0);
  ASSERT_EQ(lines().size(), 1U);
  EXPECT_THAT(lines()[0], ::testing::StartsWith("[ERROR] OBsetIssMgrParams_1_0_SI:"));
  EXPECT_THAT(lines()[0],
              ::testing::HasSubstr("(setIssMgrParams) - Error, this function should never be called ["));
  EXPECT_THAT(lines()[0], ::testing::EndsWith("]]\n"));
  EXPECT_EQ(writepointer, 0);
}

}  // namespace
