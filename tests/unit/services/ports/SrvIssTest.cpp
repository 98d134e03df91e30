#include "services/ports/SrvIss.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <fstream>
#include <iterator>

#include "services/failThreads.h"
#include "services/ports/DcnTunnel.h"
#include "services/ports/boardMac.h"
#include "services/ports/mappingFields.h"
#include "support/FakeBus.h"
#include "support/Record.h"
#include "support/RingTest.h"
#include "support/contents.h"
#include "support/memory.h"

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

std::string portWorkerLine(const std::string& level, const std::string& text) {
  return loggedAnywhere(level, "SrvIss", "run_iss_script_thread", text);
}

class PortParams : public RingTest {
 protected:
  PortParams() {
    FakeBus::clear();
    memset(dcnTunnel, 0, sizeof dcnTunnel);
    memcpy(macAddr, "\x02\x03\x04\x05\x06\x07", 6);
    SrvIss::createInstance(false);
  }
  ~PortParams() override {
    SrvIss::destroyInstance();
    for (const std::string& path : m_files)
      if (unlink(path.c_str()) != 0) rmdir(path.c_str());
  }

  static SrvIss& service() { return SrvIss::getInstance(); }
  void withStub() {
    service().register_interface(nullptr);
    service().register_notifications(nullptr);
  }
  const std::string& scriptFile(const std::string& path) { return *m_files.insert(m_files.end(), path); }

  static SetPortParamsRequest* request(uint32_t action, uint32_t portNr, bool bConfigure, uint64_t call = 1) {
    return new SetPortParamsRequest{&service(), ReplyOwner(FakeBus::call(call)),
                                    action,     6,
                                    portNr,     portNr + 4000,
                                    1000,       bConfigure,
                                    77,         0xE1,
                                    0xE2,       false};
  }

  /// The reply carries the request's own values.
  static void expectOnlyReply(uint64_t call, uint32_t action, uint32_t portNr, bool bConfigure) {
    const std::vector<FakeBus::Reply> replies = FakeBus::replies();
    ASSERT_EQ(replies.size(), 1U);
    EXPECT_EQ(replies[0].call, call);
    EXPECT_THAT(replies[0].results,
                ElementsAre(OBvalue(action), OBvalue(6U), OBvalue(portNr), OBvalue(1000U),
                            OBvalue(bConfigure), OBvalue(77U), OBvalue(0xE1U), OBvalue(0xE2U)));
    EXPECT_THAT(FakeBus::released(), IsEmpty());
  }

  static void expectSlot(int index, int msgNo, int msgCount, uint32_t action, uint32_t portNr) {
    const MsgArrayEntry& slot = MsgArray[index];
    EXPECT_EQ(slot.portParamsService, &service());
    EXPECT_EQ(slot.msgNo, msgNo);
    EXPECT_EQ(slot.msgCount, msgCount);
    EXPECT_EQ(static_cast<int>(slot.source), 1);
    EXPECT_NE(slot.reply, nullptr);
    EXPECT_EQ(slot.arguments.action, action);
    EXPECT_EQ(slot.arguments.ifType, 6U);
    EXPECT_EQ(slot.arguments.portNr, portNr);
    EXPECT_EQ(slot.arguments.ifSpeed, 1000U);
    EXPECT_EQ(slot.arguments.acVlan, 77U);
    EXPECT_EQ(slot.arguments.extra1, 0xE1U);
    EXPECT_EQ(slot.arguments.extra2, 0xE2U);
  }
  static void releaseQueued(int index) { OBstubReply::release(MsgArray[index].reply); }

  static std::vector<Field> mapping(uint32_t portNr, uint32_t tunnelId, uint32_t vpnId, uint32_t acId,
                                    uint32_t pwId, uint32_t flag) {
    return mappingFields("020304050607", portNr, 24, tunnelId, vpnId, acId, pwId, flag);
  }
  static std::vector<Field> announcement(uint32_t flag) {
    return {ofType(IFC_INSERT_DELETE_IND), {"interfaceNum", 3},   {"interfaceSpeed", 1000},
            {"interfaceType", 6},          {"interfaceCount", 1}, {"statusFlag", flag}};
  }
  static std::vector<Field> script(const std::string& path) {
    return {ofType(RUN_DEFAULT_SCRIPT_COMMAND), {"inputFile", path}, {"outputFile", "/tmp/outscr.sh"}};
  }

 private:
  std::vector<std::string> m_files;
};

TEST_F(PortParams, SetUpQueuesScriptAndMapping) {
  writepointer = 19;
  readpointer = 19;
  const std::string path = scriptFile("/tmp/SetVlanPort5_19");
  run_iss_script_thread(request(1, 5, true));
  EXPECT_EQ(writepointer, 1);
  EXPECT_TRUE(hasExactly(MsgArray[19].msg, script(path)));
  EXPECT_TRUE(hasExactly(MsgArray[0].msg, mapping(5, 1, 1, 1, 1, 1)));
  expectSlot(19, 1, 2, 1, 5);
  expectSlot(0, 2, 2, 1, 5);
  EXPECT_EQ(MsgArray[19].arguments.bConfigure, 1U);
  EXPECT_EQ(MsgArray[19].reply, MsgArray[0].reply);
  EXPECT_THAT(contents(path),
              ::testing::StartsWith("configure terminal\nvlan 77\nports gigabitethernet 0/24\nend\n"
                                    "configure terminal\nvlan 4005\nports gigabitethernet 0/5 "
                                    "untagged gigabitethernet 0/5\nend\n"));
  EXPECT_THAT(contents(path), ::testing::HasSubstr("ifAlias.42 value 76:6c:61:6e:34:30:30:35\n"));
  EXPECT_THAT(contents(path), ::testing::EndsWith("ifMainAdminStatus.188 value 1\n"
                                                  "snmpset mib name ifMainAdminStatus.42 value 1\nend\n"));
  EXPECT_THAT(unnumbered(),
              ElementsAre(portWorkerLine("DEBUG2", "Processing Setportparam message!"),
                          portWorkerLine("DEBUG3", "mutex lock\n"),
                          portWorkerLine("DEBUG3", "SetPortParam split up in 2 messages to OPS\n"),
                          portWorkerLine("DEBUG3", "message writepointer 19\n"),
                          portWorkerLine("DEBUG3", "message writepointer 0\n"),
                          portWorkerLine("DEBUG3", "send signal for sending message"),
                          portWorkerLine("DEBUG3", "mutex unlock"), portWorkerLine("DEBUG2", "stopped")));
  EXPECT_THAT(FakeBus::replies(), IsEmpty());
  releaseQueued(0);
}

TEST_F(PortParams, ReleaseQueuesUnmappingAndScript) {
  dcnTunnel[4] = {100, 101, 102, 103};
  writepointer = 3;
  readpointer = 3;
  const std::string path = scriptFile("/tmp/SetVlanPort5_3");
  run_iss_script_thread(request(2, 5, true));
  EXPECT_EQ(writepointer, 5);
  EXPECT_TRUE(hasExactly(MsgArray[3].msg, mapping(5, 100, 101, 103, 102, 2)));
  EXPECT_TRUE(hasExactly(MsgArray[4].msg, script(path))) << "named by the index before the first was queued";
  expectSlot(3, 1, 2, 2, 5);
  expectSlot(4, 2, 2, 2, 5);
  EXPECT_THAT(contents(path), ::testing::StartsWith("configure terminal\nno vlan 4005\nno vlan 77\nend\n"));
  EXPECT_EQ(unnumbered()[1],
            portWorkerLine("NOTICE", "ReleasePort: portNr=5, tunnelId=100, pwId=102, vpnId=101, acId=103"));
  releaseQueued(3);
}

TEST_F(PortParams, ReleaseOfAPortWithoutARecordSendsZeroIds) {
  scriptFile("/tmp/SetVlanPort29_0");
  scriptFile("/tmp/SetVlanPort0_2");
  run_iss_script_thread(request(2, 29, true));
  run_iss_script_thread(request(2, 0, true));
  EXPECT_TRUE(hasExactly(MsgArray[0].msg, mapping(29, 0, 0, 0, 0, 2)));
  EXPECT_TRUE(hasExactly(MsgArray[2].msg, mapping(0, 0, 0, 0, 0, 2)));
  releaseQueued(0);
  releaseQueued(2);
}

TEST_F(PortParams, ProbeAndDetachAnnounceThePort) {
  run_iss_script_thread(request(3, 3, false));
  run_iss_script_thread(request(4, 3, true));
  EXPECT_EQ(writepointer, 2);
  EXPECT_TRUE(hasExactly(MsgArray[0].msg, announcement(1)));
  EXPECT_TRUE(hasExactly(MsgArray[1].msg, announcement(2)));
  expectSlot(0, 1, 1, 3, 3);
  expectSlot(1, 1, 1, 4, 3);
  EXPECT_EQ(MsgArray[0].arguments.bConfigure, 0U);
  EXPECT_EQ(MsgArray[1].arguments.bConfigure, 1U);
  releaseQueued(0);
  releaseQueued(1);
}

TEST_F(PortParams, WithoutConfigurationIsAnsweredAtOnce) {
  withStub();
  for (const uint32_t action : {1U, 2U}) {
    FakeBus::clear();
    run_iss_script_thread(request(action, 5, false, 42));
    expectOnlyReply(42, action, 5, false);
    EXPECT_EQ(writepointer, 0);
    EXPECT_EQ(unnumbered().back(), portWorkerLine("DEBUG2", "stopped"));
  }
}

TEST_F(PortParams, AcknowledgeIsAnsweredAtOnce) {
  withStub();
  run_iss_script_thread(request(5, 5, true, 43));
  expectOnlyReply(43, 5, 5, true);
  EXPECT_EQ(writepointer, 0);
}

TEST_F(PortParams, OfAnUnknownActionIsAnsweredAtOnceWithAWarning) {
  withStub();
  for (const uint32_t action : {0U, 6U, 0xFFFFFFFFU}) {
    FakeBus::clear();
    forget();
    run_iss_script_thread(request(action, 5, true, 44));
    expectOnlyReply(44, action, 5, true);
    EXPECT_EQ(writepointer, 0);
    EXPECT_THAT(unnumbered(), ElementsAre(portWorkerLine("DEBUG2", "Processing Setportparam message!"),
                                          portWorkerLine("WARNING", "Unknown action request in message")));
  }
}

TEST_F(PortParams, ThatDoNotFitTheRingAreDroppedTogetherAndAnswered) {
  withStub();
  writepointer = 17;
  scriptFile("/tmp/SetVlanPort5_17");
  run_iss_script_thread(request(1, 5, true, 45));
  expectOnlyReply(45, 1, 5, true);
  EXPECT_EQ(writepointer, 17);
  EXPECT_EQ(MsgArray[17].msg.msgType, 0U);
  EXPECT_EQ(MsgArray[17].source, MsgSource::None);
  EXPECT_EQ(unnumbered().back(), portWorkerLine("ERROR", "Buffer overflow, message lost!\n"));
  EXPECT_EQ(pthread_mutex_trylock(&mutex.native), 0);
  pthread_mutex_unlock(&mutex.native);

  run_iss_script_thread(request(3, 5, true, 46));
  EXPECT_EQ(writepointer, 18) << "a single message still fits";
  releaseQueued(17);
}

TEST_F(PortParams, WithoutAStubAreReleasedInsteadOfAnswered) {
  run_iss_script_thread(request(5, 5, true, 47));
  EXPECT_THAT(FakeBus::replies(), IsEmpty());
  EXPECT_THAT(FakeBus::released(), ElementsAre(47U));
}

TEST_F(PortParams, QueueAZeroMessageWhenTheScriptCannotBeWritten) {
  const std::string path = scriptFile("/tmp/SetVlanPort5_0");
  ASSERT_EQ(mkdir(path.c_str(), 0700), 0);
  run_iss_script_thread(request(1, 5, true));
  EXPECT_EQ(writepointer, 2);
  EXPECT_TRUE(hasExactly(MsgArray[0].msg, {}));
  EXPECT_TRUE(hasExactly(MsgArray[1].msg, mapping(5, 1, 1, 1, 1, 1)));
  expectSlot(0, 1, 2, 1, 5);
  EXPECT_EQ(unnumbered()[1],
            loggedAnywhere("ERROR", "SrvIss", "CreateOPSFile", "Unable to create OPS file!!\n"));
  releaseQueued(0);
}

TEST_F(PortParams, OverwriteAnEarlierScript) {
  const std::string path = scriptFile("/tmp/SetVlanPort5_0");
  std::ofstream(path) << std::string(10000, 'x');
  run_iss_script_thread(request(2, 5, true));
  EXPECT_EQ(contents(path).find('x'), std::string::npos);
  releaseQueued(0);
}

TEST_F(PortParams, CutALongFileNameInTheMessageOnly) {
  const std::string path = scriptFile("/tmp/SetVlanPort2147483647_0");
  run_iss_script_thread(request(1, 2147483647, true));
  EXPECT_TRUE(hasExactly(MsgArray[0].msg, script("/tmp/SetVlanPort2147483")));
  EXPECT_FALSE(contents(path).empty());
  releaseQueued(0);
}

TEST_F(PortParams, WakeTheSenderAlsoWithoutAMessage) {
  EXPECT_TRUE(wakesTheSender([] { run_iss_script_thread(request(1, 5, false)); }));
}

TEST_F(PortParams, HoldTheRingsLockUntilTheyAreQueued) {
  scriptFile("/tmp/SetVlanPort5_0");
  EXPECT_THAT(withLock("run_iss_script_thread", [] { run_iss_script_thread(request(1, 5, true)); }),
              ElementsAre("locked Processing Setportparam message!", "locked mutex lock\n",
                          "locked SetPortParam split up in 2 messages to OPS\n",
                          "locked message writepointer 0\n", "locked message writepointer 1\n",
                          "locked send signal for sending message", "locked mutex unlock", "stopped"));
  releaseQueued(0);
}

TEST_F(PortParams, WithoutAMessageAreAnsweredBeforeTheRingIsLookedAt) {
  withStub();
  for (const uint32_t action : {1U, 2U, 5U}) {
    FakeBus::clear();
    size_t answered = 0;
    onLine([&answered](const std::string& line) {
      if (line.ends_with("mutex lock\n")) answered = FakeBus::replies().size();
    });
    run_iss_script_thread(request(action, 5, false));
    onLine(nullptr);
    EXPECT_EQ(answered, 1U) << "action " << action;
  }
}

TEST_F(PortParams, LeaveNoDescriptorOpen) {
  const auto descriptors = [] {
    const std::filesystem::directory_iterator all("/proc/self/fd");
    return std::distance(begin(all), end(all));
  };
  const auto before = descriptors();
  for (int i = 0; i < 5; ++i) {
    for (const uint32_t action : {1U, 2U}) {
      resetRing();
      run_iss_script_thread(request(action, 5, true));
      releaseQueued(0);
    }
  }
  EXPECT_EQ(descriptors(), before);
  EXPECT_FALSE(contents(scriptFile("/tmp/SetVlanPort5_0")).empty());
}

TEST_F(PortParams, ReachTheirWorkerFromTheBus) {
  withStub();
  EXPECT_THAT(FakeBus::registrations(), ElementsAre("asynchronous IssSetLanWanAsync OBsetPortParams_1_0"));
  const std::string path = scriptFile("/tmp/SetVlanPort25_0");
  service().setPortParams(FakeBus::call(50), 1, 6, 25, 1000, true, 77, 0xE1, 0xE2);
  ASSERT_TRUE(waitForWorkers(20000));
  EXPECT_EQ(unnumbered()[0], loggedAnywhere("DEBUG3", "SrvIss", "setPortParams",
                                            "SetPortParam message received over OTNBus\n"));
  EXPECT_EQ(lastStackSize(), 131072U);
  expectSlot(0, 1, 2, 1, 25);
  EXPECT_TRUE(hasExactly(MsgArray[1].msg, mapping(25, 1, 1, 1, 1, 1)));
  EXPECT_THAT(contents(path), ::testing::HasSubstr("interface extreme-ethernet 0/1\n"));
  releaseQueued(0);
}

TEST_F(PortParams, WithoutAThreadGetNoReply) {
  withStub();
  failNextThread(EAGAIN);
  service().setPortParams(FakeBus::call(51), 5, 6, 5, 1000, true, 77, 0, 0);
  EXPECT_EQ(unnumbered().back(), loggedAnywhere("ERROR", "SrvIss", "setPortParams",
                                                "Failed to create thread: Resource temporarily unavailable"));
  EXPECT_THAT(FakeBus::replies(), IsEmpty());
  EXPECT_THAT(FakeBus::released(), ElementsAre(51U));
  EXPECT_TRUE(waitForWorkers(0));
}

TEST_F(PortParams, NeedNoMemoryButTheirOwn) {
  scriptFile("/tmp/SetVlanPort5_0");
  SetPortParamsRequest* const setUp = request(1, 5, true);
  {
    const NoMemory lacking;
    run_iss_script_thread(setUp);
  }
  EXPECT_EQ(writepointer, 2);
  expectSlot(1, 2, 2, 1, 5);
  EXPECT_THAT(contents("/tmp/SetVlanPort5_0"), ::testing::EndsWith("ifMainAdminStatus.42 value 1\nend\n"));
  releaseQueued(1);
}

TEST_F(PortParams, HaveNoSynchronousForm) {
  service().setPortParams(1, 6, 5, 1000, true, 77, 0, 0);
  ASSERT_EQ(lines().size(), 1U);
  EXPECT_THAT(lines()[0], ::testing::StartsWith(
                              "[ERROR] OBsetPortParams_1_0_SI:33 (setPortParams) - Error, this function "
                              "should never be called [virtual void OBsetPortParams_1_0_SI::setPortParams("));
  EXPECT_THAT(lines()[0], ::testing::EndsWith(")]]\n"));
}

TEST_F(PortParams, OfADaemonWithoutTheAcPortLeaveTheAcVlanOut) {
  SrvIss::destroyInstance();
  SrvIss::createInstance(true);
  const std::string path = scriptFile("/tmp/SetVlanPort5_0");
  service().setPortParams(FakeBus::call(52), 1, 6, 5, 1000, true, 77, 0, 0);
  ASSERT_TRUE(waitForWorkers(20000));
  EXPECT_EQ(MsgArray[1].msg.payload.mapping.entry.acPort, 0xFFFFFFFF);
  EXPECT_EQ(contents(path).find("77"), std::string::npos);
  EXPECT_THAT(contents(path), ::testing::StartsWith("configure terminal\nvlan 4005\n"));
  releaseQueued(0);
}

TEST_F(PortParams, StatusIsLoggedAndSignalled) {
  withStub();
  service().sendIssStatusChange(true);
  service().sendIssStatusChange(false);
  service().sendLinkStatusChange(26, true, false);
  EXPECT_THAT(unnumbered(),
              ElementsAre(loggedAnywhere("DEBUG2", "SrvIss", "sendIssStatusChange", "bStatus=UP\n"),
                          loggedAnywhere("DEBUG2", "SrvIss", "sendIssStatusChange", "bStatus=DOWN\n"),
                          loggedAnywhere("DEBUG2", "SrvIss", "sendLinkStatusChange",
                                         "ifIndex=26,bPortAdminStatus=UP,bPortOperationalStatus=DOWN\n")));
  const std::vector<FakeBus::Signal> signals = FakeBus::signals();
  ASSERT_EQ(signals.size(), 3U);
  EXPECT_EQ(signals[0].interfaceClass, "OBsetPortParams_1_0");
  EXPECT_EQ(signals[0].member, "issStatusChange");
  EXPECT_THAT(signals[0].arguments, ElementsAre(OBvalue(true)));
  EXPECT_THAT(signals[1].arguments, ElementsAre(OBvalue(false)));
  EXPECT_EQ(signals[2].member, "linkStatusChange");
  EXPECT_THAT(signals[2].arguments, ElementsAre(OBvalue(26U), OBvalue(true), OBvalue(false)));
}

TEST_F(PortParams, StatusWithoutANotifierIsOnlyLogged) {
  service().sendIssStatusChange(true);
  service().sendLinkStatusChange(1, true, true);
  EXPECT_EQ(lines().size(), 2U);
  EXPECT_THAT(FakeBus::signals(), IsEmpty());
}

TEST_F(PortParams, HaveOneInstance) {
  SrvIss* const first = &service();
  SrvIss::createInstance(true);
  EXPECT_EQ(&service(), first);
  SrvIss::destroyInstance();
  EXPECT_THAT(lines(), IsEmpty());
  SrvIss::getInstance();
  ASSERT_EQ(lines().size(), 1U);
  EXPECT_THAT(lines()[0], ::testing::HasSubstr("m_pInstance"));
  EXPECT_THAT(lines()[0], ::testing::HasSubstr("static SrvIss& SrvIss::getInstance()"));
}

class PortMessagesOfARequest : public PortParams {};

TEST_F(PortMessagesOfARequest, AreAsManyAsTheActionNeeds) {
  scriptFile("/tmp/SetVlanPort5_0");
  const auto countFor = [](uint32_t action, bool bConfigure) {
    const std::unique_ptr<SetPortParamsRequest> built(request(action, 5, bConfigure));
    PortMessageBatch batch;
    const Guard guard(&mutex);
    buildPortMessages(*built, batch);
    return batch.count;
  };
  EXPECT_EQ(countFor(1, true), 2);
  EXPECT_EQ(countFor(1, false), 0);
  EXPECT_EQ(countFor(2, true), 2);
  EXPECT_EQ(countFor(2, false), 0);
  for (const bool configure : {true, false}) {
    EXPECT_EQ(countFor(3, configure), 1);
    EXPECT_EQ(countFor(4, configure), 1);
    EXPECT_EQ(countFor(5, configure), 0);
  }
}

}  // namespace
