#include "frame/opsMessage.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <thread>

#include "Guard.h"
#include "boardUtils.h"
#include "frame/mainLines.h"
#include "link/CriticalActivity.h"
#include "link/IssSocket.h"
#include "link/SrvDbg.h"
#include "process/deadline.h"
#include "services/ports/SrvIss.h"
#include "support/FakeBus.h"
#include "support/OpsPeer.h"
#include "support/Record.h"
#include "support/RingTest.h"

namespace {

using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::Not;

const Field defaultScriptPath("inputFile", "/etc/iss/bh_default.txt");

TEST(OpsMessageKind, OfEachType) {
  const auto kind = [](uint32_t type) { return classify(recordOf({ofType(type)})); };
  for (const uint32_t type : {7U, 8U, 9U, 10U, 11U, 14U, 15U, 16U, 17U, 19U, 22U, 23U, 24U, 25U})
    EXPECT_EQ(kind(type), OpsMessage::Answer) << type;
  for (const uint32_t type : {0U, 3U, 4U, 5U, 6U, 21U, 26U, 0xFFFFFFFFU})
    EXPECT_EQ(kind(type), OpsMessage::Unexpected) << type;
  EXPECT_EQ(kind(2), OpsMessage::Ready);
  EXPECT_EQ(kind(1), OpsMessage::ReloadSucceeded);
  EXPECT_EQ(kind(12), OpsMessage::Alive);
  EXPECT_EQ(kind(13), OpsMessage::Alive);
  EXPECT_EQ(kind(18), OpsMessage::CpuThreshold);
  EXPECT_EQ(kind(20), OpsMessage::PortStatusChange);
}

TEST(OpsMessageKind, DependsOnWhatTheMessageSays) {
  EXPECT_EQ(classify(recordOf({ofType(MSR_RELOAD_STATUS), {"reloadStatus", 2}})), OpsMessage::ReloadFailed);
  EXPECT_EQ(classify(recordOf({ofType(RUN_DEFAULT_SCRIPT_COMMAND), defaultScriptPath})),
            OpsMessage::DefaultScriptDone);
  EXPECT_EQ(classify(recordOf({ofType(RUN_DEFAULT_SCRIPT_COMMAND), {"inputFile", "/tmp/SetVlanPort5_0"}})),
            OpsMessage::Answer);
}

bool isCsm(const char* boardName) {
  setenv("BOARD_NAME", boardName, 1);
  return isCsmBoard(boardUtils());
}

TEST(CsmBoard, HasCsmInItsName) {
  EXPECT_TRUE(isCsm("CSM"));
  EXPECT_TRUE(isCsm("ACME CSM-2 rev B"));
  for (const char* name : {"", "csm", "CS M", "CS", "VORNA"}) EXPECT_FALSE(isCsm(name)) << name;
}

const std::string ending = mainLine("DEBUG3", 628, "send signal cond2\n");

bool exists(const char* path) {
  return access(path, F_OK) == 0;
}

class MessagesFromOps : public RingTest {
 protected:
  MessagesFromOps() {
    FakeBus::clear();
    SrvIss::createInstance(false);
    SrvIss::getInstance().register_interface(nullptr);
    SrvIss::getInstance().register_notifications(nullptr);
    removeMarkers();
  }
  ~MessagesFromOps() override {
    removeMarkers();
    SrvIss::destroyInstance();
  }
  static void removeMarkers() {
    unlink("/tmp/iss_is_ready");
    unlink("/tmp/iss_msr_succeeded");
  }

  /// Handles the message while one of ours is with OPS.
  void handle(const std::vector<Field>& fields, const char* boardName = "VORNA") {
    forget();
    IssProcessing = 1;
    OtnIpcMsg msg = recordOf(fields);
    setenv("BOARD_NAME", boardName, 1);
    const Guard guard(&mutex);
    handleOpsMessage(msg, boardUtils(), m_activity, m_debugSocket);
  }
  static void queueOne() {
    copyToSlot(recordOf({ofType(REDUNDANCY_STATE)})).source = MsgSource::Redundancy;
    advanceWritePointer();
  }
  /// Whether the message signals the condition.
  bool signals(pthread_cond_t* condition, int milliseconds, const std::vector<Field>& fields) {
    bool waiting = false;
    int result = -1;
    std::thread waiter([&] {
      const Guard guard(&mutex);
      waiting = true;
      const timespec deadline = monotonicIn(milliseconds);
      result = pthread_cond_clockwait(condition, &mutex.native, CLOCK_MONOTONIC, &deadline);
    });
    for (bool seen = false; !seen;) {
      const Guard guard(&mutex);
      seen = waiting;
    }
    handle(fields);
    waiter.join();
    return result == 0;
  }
  /// The message, of another kind than an answer, ends as all of those do.
  void expectEndedWithoutRouting() {
    EXPECT_EQ(IssProcessing, 0);
    EXPECT_EQ(readpointer, 0);
    EXPECT_EQ(lines().back(), ending);
    EXPECT_EQ(pthread_mutex_trylock(&mutex.native), 0);
    pthread_mutex_unlock(&mutex.native);
  }

  CriticalActivity m_activity;
  SrvDbg m_debugSocket;
};

TEST_F(MessagesFromOps, OfAnotherKindClearTheFlagAndNothingElse) {
  queueOne();
  for (const uint32_t type : {2U, 12U, 13U, 18U, 20U, 0U, 3U, 21U, 99U}) {
    handle({ofType(type)});
    expectEndedWithoutRouting();
    EXPECT_EQ(MsgArray[0].source, MsgSource::Redundancy);
    EXPECT_EQ(issReady, 0);
  }
}

TEST_F(MessagesFromOps, OfAnotherKindDoNotReleaseTheSender) {
  queueOne();
  EXPECT_FALSE(signals(&cond2, 60, {ofType(PORT_STATUS_CHANGE_IND)}));
  EXPECT_EQ(IssProcessing, 0);
}

TEST_F(MessagesFromOps, ThatAnswerReleaseTheSenderAndConsumeTheSlot) {
  queueOne();
  EXPECT_TRUE(signals(&cond2, 20000, {ofType(REDUNDANCY_STATE), {"errorString", "No Error\r\n"}}));
  EXPECT_EQ(IssProcessing, 0);
  EXPECT_EQ(readpointer, 1);
  EXPECT_EQ(MsgArray[0].source, MsgSource::None);
  EXPECT_EQ(lines().back(), ending);
}

TEST_F(MessagesFromOps, ThatAnswerNothingDoNotReleaseTheSender) {
  EXPECT_FALSE(signals(&cond2, 60, {ofType(REDUNDANCY_STATE), {"errorString", "No Error\r\n"}}));
  EXPECT_EQ(IssProcessing, 0);
  EXPECT_EQ(readpointer, 0);
}

TEST_F(MessagesFromOps, AreDumpedFirst) {
  handle({ofType(99)});
  EXPECT_THAT(lines()[0], ::testing::StartsWith("[DEBUG1] MsgHandle:44 (printPacket) - Msg Type = "));
  EXPECT_THAT(lines()[0], ::testing::EndsWith(" [99]"));
}

TEST_F(MessagesFromOps, ThatAreUnexpectedAreAnError) {
  handle({ofType(RM_GO_ACTIVE_STANDBY_IND)});
  EXPECT_THAT(lines(), Contains(mainLine("ERROR", 624, "unexpected message received from OPS\n")));
}

TEST_F(MessagesFromOps, SayThatItIsAlive) {
  handle({ofType(WATCH_DOG_ISS_ACTIVE)});
  EXPECT_THAT(lines(), Contains(mainLine("DEBUG2", 439, "Received ALIVE message\n")));
}

TEST_F(MessagesFromOps, NameAThreadOverItsThreshold) {
  handle({ofType(CPU_THRESHOLD), {"threadName", "SpanTask"}});
  EXPECT_THAT(lines(), Contains(mainLine("INFO", 444, "CPU exceeds threshold for thread SpanTask\n")));
  handle({ofType(CPU_THRESHOLD), {"threadName", std::string(500, 'n')}, {"pid", 0x41414141}});
  EXPECT_THAT(lines(), Contains(mainLine(
                           "INFO", 444, "CPU exceeds threshold for thread " + std::string(500, 'n') + "\n")));
}

TEST_F(MessagesFromOps, TellAPortsStatus) {
  handle(
      {ofType(PORT_STATUS_CHANGE_IND), {"interfaceNum", 26}, {"adminStatus", 1}, {"operationalStatus", 2}});
  ASSERT_EQ(FakeBus::signals().size(), 1U);
  EXPECT_EQ(FakeBus::signals()[0].member, "linkStatusChange");
  EXPECT_THAT(FakeBus::signals()[0].arguments, ElementsAre(OBvalue(26U), OBvalue(true), OBvalue(false)));
}

TEST_F(MessagesFromOps, OfItsReadinessAreOnlyLoggedOnAnOrdinaryBoard) {
  handle({ofType(TASK_INIT_STATUS)});
  EXPECT_THAT(lines(), Contains(mainLine("INFO", 355, "OPS ready to receive messages.\n")));
  EXPECT_THAT(lines(), Not(Contains(mainLine("INFO", 362, "Creating default.conf!\n"))));
  EXPECT_FALSE(exists("/tmp/iss_is_ready"));
}

TEST_F(MessagesFromOps, OfReadinessMakeACsmBoardSendTheDefaultScript) {
  ASSERT_FALSE(exists("/persistency/iss/default_conf.commit"))
      << "this machine has a committed configuration";
  OpsPeer peer;
  ASSERT_TRUE(peer.listening());
  ASSERT_EQ(opsSocket.StartTcpClient(), 0);
  ASSERT_TRUE(peer.accept());
  handle({ofType(TASK_INIT_STATUS)}, "CSM");
  OtnIpcMsg sent;
  ASSERT_TRUE(peer.receive(sent));
  EXPECT_TRUE(
      hasExactly(sent, {ofType(RUN_DEFAULT_SCRIPT_COMMAND), defaultScriptPath, {"outputFile", "outscr.sh"}}));
  EXPECT_THAT(lines(), Contains(mainLine("INFO", 362, "Creating default.conf!\n")));
  EXPECT_EQ(writepointer, 0) << "outside the ring";
  EXPECT_EQ(issReady, 0);
  opsSocket.close();
}

TEST_F(MessagesFromOps, OfASuccessfulReloadMakeIssReady) {
  handle({ofType(MSR_RELOAD_STATUS)});
  expectEndedWithoutRouting();
  EXPECT_EQ(issReady, 1);
  EXPECT_TRUE(exists("/tmp/iss_msr_succeeded"));
  EXPECT_TRUE(exists("/tmp/iss_is_ready"));
  EXPECT_THAT(lines(), Contains(mainLine("INFO", 396, "MSR reload succeeded")));
  ASSERT_EQ(FakeBus::signals().size(), 1U);
  EXPECT_EQ(FakeBus::signals()[0].member, "issStatusChange");
  EXPECT_THAT(FakeBus::signals()[0].arguments, ElementsAre(OBvalue(true)));
}

TEST_F(MessagesFromOps, OfASuccessfulReloadOpenThePortsOfACsmBoard) {
  const std::string opening =
      mainLine("DEBUG2", 408, "execute command for opening ports = /bin/sh -c /etc/iss/openPorts.sh\n");
  handle({ofType(MSR_RELOAD_STATUS)});
  EXPECT_THAT(lines(), Not(Contains(opening)));
  handle({ofType(MSR_RELOAD_STATUS)}, "CSM");
  EXPECT_THAT(lines(), Contains(opening));
}

TEST_F(MessagesFromOps, OfASuccessfulReloadReportMarkersNotMade) {
  ASSERT_EQ(symlink("/nowhere/at/all", "/tmp/iss_msr_succeeded"), 0);
  ASSERT_EQ(symlink("/nowhere/at/all", "/tmp/iss_is_ready"), 0);
  handle({ofType(MSR_RELOAD_STATUS)});
  EXPECT_THAT(lines(), Contains(mainLine("ERROR", 416, "Failed to touch /tmp/iss_msr_succeeded")));
  EXPECT_THAT(lines(), Contains(mainLine("ERROR", 420, "Failed to touch /tmp/iss_is_ready")));
  EXPECT_EQ(issReady, 1);
}

TEST_F(MessagesFromOps, OfItsDefaultScriptMakeIssReady) {
  queueOne();
  handle({ofType(RUN_DEFAULT_SCRIPT_COMMAND), defaultScriptPath});
  expectEndedWithoutRouting();
  EXPECT_EQ(issReady, 1);
  EXPECT_TRUE(exists("/tmp/iss_is_ready"));
  EXPECT_FALSE(exists("/tmp/iss_msr_succeeded"));
  EXPECT_THAT(lines(), Not(Contains(mainLine("INFO", 380, "default.conf created!\n"))));
  ASSERT_EQ(FakeBus::signals().size(), 1U);
}

TEST_F(MessagesFromOps, OfItsDefaultScriptReportAMarkerNotMade) {
  ASSERT_EQ(symlink("/nowhere/at/all", "/tmp/iss_is_ready"), 0);
  handle({ofType(RUN_DEFAULT_SCRIPT_COMMAND), defaultScriptPath});
  EXPECT_THAT(lines(), Contains(mainLine("ERROR", 386, "Failed to touch /tmp/iss_is_ready")));
}

TEST_F(MessagesFromOps, ThatMakeIssReadyWakeTheSenderWhenThereIsWork) {
  queueOne();
  EXPECT_TRUE(signals(&cond, 20000, {ofType(MSR_RELOAD_STATUS)}));
  EXPECT_TRUE(signals(&cond, 20000, {ofType(RUN_DEFAULT_SCRIPT_COMMAND), defaultScriptPath}));
}

TEST_F(MessagesFromOps, ThatMakeIssReadyWakeNobodyWithoutWork) {
  EXPECT_FALSE(signals(&cond, 60, {ofType(MSR_RELOAD_STATUS)}));
}

TEST_F(MessagesFromOps, OfAFailedReloadAreCritical) {
  handle({ofType(MSR_RELOAD_STATUS), {"reloadStatus", 1}});
  expectEndedWithoutRouting();
  EXPECT_THAT(lines(), Contains(mainLine("CRITICAL", 428, "MSR RELOAD FAILED!")));
  EXPECT_EQ(issReady, 0);
  EXPECT_FALSE(exists("/tmp/iss_is_ready"));
  EXPECT_THAT(lines(), Not(Contains(logged("DEBUG3", "main", 763, "deletePersistentIssConfig", "called"))));
}

TEST_F(MessagesFromOps, OfAFailedReloadRemoveACsmBoardsConfiguration) {
  ASSERT_FALSE(exists("/flash/config/current/selected.txt")) << "this machine has a selection";
  issReady = 1;
  handle({ofType(MSR_RELOAD_STATUS), {"reloadStatus", 1}}, "CSM");
  EXPECT_THAT(lines(), Contains(logged("DEBUG3", "main", 763, "deletePersistentIssConfig", "called")));
  EXPECT_EQ(issReady, 1) << "unchanged";
}

}  // namespace
