// What a running daemon wrote, as the paths of its requests.
#include "timeline/LogFile.h"

#include <gmock/gmock.h>

namespace {

using namespace ctl;
using namespace std::chrono_literals;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::SizeIs;

/// The release of a port that ISS refuses, as a board left it.
constexpr const char* release =
    R"(2026-11-21 19:47:03.624 [DEBUG3] SrvIss:38 (setPortParams) - SetPortParam message received over OTNBus
2026-11-21 19:47:03.627 [DEBUG2] SrvIss:142 (run_iss_script_thread) - Processing Setportparam message!
2026-11-21 19:47:03.627 [NOTICE] SrvIss:102 (run_iss_script_thread) - ReleasePort: portNr=9, tunnelId=0, pwId=0, vpnId=0, acId=0
2026-11-21 19:47:03.627 [DEBUG3] SrvIss:133 (run_iss_script_thread) - mutex lock
2026-11-21 19:47:03.627 [DEBUG3] SrvIss:135 (run_iss_script_thread) - SetPortParam split up in 2 messages to OPS
2026-11-21 19:47:03.627 [DEBUG3] SrvIss:137 (run_iss_script_thread) - message writepointer 9
2026-11-21 19:47:03.627 [DEBUG3] SrvIss:137 (run_iss_script_thread) - message writepointer 10
2026-11-21 19:47:03.627 [DEBUG3] SrvIss:128 (run_iss_script_thread) - send signal for sending message
2026-11-21 19:47:03.627 [DEBUG3] SrvIss:129 (run_iss_script_thread) - mutex unlock
2026-11-21 19:47:03.627 [DEBUG3] main:726 (iss_comm) - iss thread: signal otn msg ready received
2026-11-21 19:47:03.627 [DEBUG3] main:733 (iss_comm) - iss thread: sending msg to OPS rp:9 wp:11 source:1
2026-11-21 19:47:03.628 [DEBUG3] main:735 (iss_comm) - Sending packet to OPS
2026-11-21 19:47:03.628 [DEBUG2] SrvIss:165 (run_iss_script_thread) - stopped
2026-11-21 19:47:03.628 [DEBUG3] main:322 (main) - Message from OPS received: RP=9 WP=11
2026-11-21 19:47:03.628 [DEBUG1] MsgHandle:44 (printPacket) - Msg Type = MGMT_INTERFACE_MAPPING_IND [11]
2026-11-21 19:47:03.628 [DEBUG2] MsgHandle:75 (printPacket) - Status Flag = ISS_OTN_UNMAP_MGMT_INTERFACE
2026-11-21 19:47:03.628 [DEBUG2] MsgHandle:78 (printPacket) - PwVlan = 4009
PwPort = 9
AcVlan = 4009
AcPort = 24
2026-11-21 19:47:03.628 [DEBUG2] MsgHandle:79 (printPacket) - InTunnelLabel = 1500
OutTunnelLabel = 1500

2026-11-21 19:47:03.628 [DEBUG2] MsgHandle:80 (printPacket) - TunnelId = 0
VpnId = 0
PwId = 0

2026-11-21 19:47:03.628 [DEBUG1] MsgHandle:135 (printPacket) - Response error string = Port is not mapped
2026-11-21 19:47:03.628 [DEBUG1] MsgHandle:139 (printPacket) - Response error value = 4 4 0 0
2026-11-21 19:47:03.628 [DEBUG1] MsgHandle:140 (printPacket) - Response status = OSIX_FAILURE
2026-11-21 19:47:03.628 [DEBUG3] main:449 (main) - MESSAGE SOURCE 1
2026-11-21 19:47:03.628 [WARNING] main:23 (main) - ISS refused IssSetLanWanAsync (source 1) message 1 of 2, MGMT_INTERFACE_MAPPING_IND [11], port 9, release [2]: "Port is not mapped"; its caller's reply does not show it
2026-11-21 19:47:03.628 [DEBUG3] main:473 (main) - Sending reply msg to OTNBus
2026-11-21 19:47:03.628 [DEBUG3] main:628 (main) - send signal cond2
2026-11-21 19:47:03.628 [DEBUG3] main:741 (iss_comm) - iss thread: signal OPS msg ready received
2026-11-21 19:47:03.628 [DEBUG3] main:747 (iss_comm) - Received signal OPS is ready processing
2026-11-21 19:47:03.628 [DEBUG3] main:748 (iss_comm) - iss thread: mutex unlock
2026-11-21 19:47:03.628 [DEBUG3] main:721 (iss_comm) - iss thread: mutex lock rp:10 wp:11
2026-11-21 19:47:03.629 [DEBUG3] main:733 (iss_comm) - iss thread: sending msg to OPS rp:10 wp:11 source:1
2026-11-21 19:47:03.629 [DEBUG3] main:735 (iss_comm) - Sending packet to OPS
2026-11-21 19:47:03.629 [DEBUG3] main:322 (main) - Message from OPS received: RP=10 WP=11
2026-11-21 19:47:03.629 [DEBUG1] MsgHandle:44 (printPacket) - Msg Type = RUN_DEFAULT_SCRIPT_COMMAND [8]
2026-11-21 19:47:03.629 [DEBUG2] MsgHandle:85 (printPacket) - Script input file: /tmp/SetVlanPort9_9
2026-11-21 19:47:03.629 [DEBUG2] MsgHandle:86 (printPacket) - Script output file: /tmp/outscr.sh
2026-11-21 19:47:03.629 [DEBUG1] MsgHandle:135 (printPacket) - Response error string = No Error
2026-11-21 19:47:03.629 [DEBUG1] MsgHandle:139 (printPacket) - Response error value = 0 0 0 0
2026-11-21 19:47:03.629 [DEBUG1] MsgHandle:140 (printPacket) - Response status = OSIX_SUCCESS
2026-11-21 19:47:03.629 [DEBUG3] main:449 (main) - MESSAGE SOURCE 1
2026-11-21 19:47:03.629 [DEBUG3] main:473 (main) - Sending reply msg to OTNBus
2026-11-21 19:47:03.629 [DEBUG3] main:477 (main) - send reply over OTNbus
2026-11-21 19:47:03.629 [DEBUG3] main:628 (main) - send signal cond2
2026-11-21 19:47:03.629 [DEBUG3] main:741 (iss_comm) - iss thread: signal OPS msg ready received
2026-11-21 19:47:03.629 [DEBUG3] main:747 (iss_comm) - Received signal OPS is ready processing
2026-11-21 19:47:03.629 [DEBUG3] main:748 (iss_comm) - iss thread: mutex unlock
2026-11-21 19:47:03.629 [DEBUG3] main:721 (iss_comm) - iss thread: mutex lock rp:11 wp:11
)";

/// A message through the debug socket.
constexpr const char* debugMessage =
    R"(2026-11-21 19:47:03.491 [DEBUG3] main:291 (main) - Message from debug server received: RP=8 WP=8
2026-11-21 19:47:03.491 [DEBUG1] MsgHandle:44 (printPacket) - Msg Type = FLUSH_CMD [16]
2026-11-21 19:47:03.491 [DEBUG2] MsgHandle:130 (printPacket) - No information about this message to print
2026-11-21 19:47:03.491 [DEBUG3] main:314 (main) - main thread: send signal for sending message
2026-11-21 19:47:03.491 [DEBUG3] main:316 (main) - main thread: mutex unlock
2026-11-21 19:47:03.491 [DEBUG3] main:726 (iss_comm) - iss thread: signal otn msg ready received
2026-11-21 19:47:03.491 [DEBUG3] main:733 (iss_comm) - iss thread: sending msg to OPS rp:8 wp:9 source:2
2026-11-21 19:47:03.491 [DEBUG3] main:735 (iss_comm) - Sending packet to OPS
2026-11-21 19:47:03.491 [DEBUG3] main:322 (main) - Message from OPS received: RP=8 WP=9
2026-11-21 19:47:03.491 [DEBUG1] MsgHandle:44 (printPacket) - Msg Type = FLUSH_CMD [16]
2026-11-21 19:47:03.491 [DEBUG2] MsgHandle:130 (printPacket) - No information about this message to print
2026-11-21 19:47:03.491 [DEBUG1] MsgHandle:135 (printPacket) - Response error string = No Error
2026-11-21 19:47:03.491 [DEBUG1] MsgHandle:139 (printPacket) - Response error value = 0 0 0 0
2026-11-21 19:47:03.491 [DEBUG1] MsgHandle:140 (printPacket) - Response status = OSIX_SUCCESS
2026-11-21 19:47:03.491 [DEBUG3] main:449 (main) - MESSAGE SOURCE 2
2026-11-21 19:47:03.491 [DEBUG3] main:452 (main) - Sending reply msg to debug socket
2026-11-21 19:47:03.492 [DEBUG3] main:628 (main) - send signal cond2
2026-11-21 19:47:03.492 [DEBUG3] main:741 (iss_comm) - iss thread: signal OPS msg ready received
2026-11-21 19:47:03.492 [DEBUG3] main:747 (iss_comm) - Received signal OPS is ready processing
2026-11-21 19:47:03.492 [DEBUG3] main:748 (iss_comm) - iss thread: mutex unlock
2026-11-21 19:47:03.492 [DEBUG3] main:721 (iss_comm) - iss thread: mutex lock rp:9 wp:9
)";

History read(const std::string& log) {
  return readHistory(log, dayOf(1795290000s));
}

/// Milliseconds since 19:47:00 of the day of the lines above, by this machine's zone.
LogTime at(int milliseconds) {
  return readTime("2026-11-21 19:47:00.000 ", {})->when + std::chrono::milliseconds(milliseconds);
}

/// One line per millisecond.
std::string lines(std::initializer_list<const char*> texts) {
  std::string log;
  int i = 0;
  for (const char* text : texts) {
    log += "2026-11-21 19:47:00." + std::to_string(100 + i++) + ' ' + text + '\n';
  }
  return log;
}

constexpr const char* arrival =
    "[DEBUG3] SrvIss:38 (setPortParams) - SetPortParam message received over OTNBus";
constexpr const char* processing =
    "[DEBUG2] SrvIss:142 (run_iss_script_thread) - Processing Setportparam message!";
constexpr const char* unlock = "[DEBUG3] SrvIss:129 (run_iss_script_thread) - mutex unlock";
constexpr const char* full = "[ERROR] SrvIss:127 (run_iss_script_thread) - Buffer overflow, message lost!";

std::vector<int> occupancy(const History& history) {
  std::vector<int> used;
  for (const RingSample& sample : history.ring) used.push_back(sample.used);
  return used;
}

TEST(LogFile, RequestIsFollowedThroughTheDaemon) {
  const History history = read(release);
  ASSERT_THAT(history.requests, SizeIs(1));
  const TracedRequest& request = history.requests[0];
  EXPECT_EQ(request.kind, RequestKind::port);
  EXPECT_THAT(request.ports, ElementsAre(9));
  EXPECT_EQ(request.arrived, at(3624));
  EXPECT_EQ(request.arrivedLast, at(3624));
  EXPECT_EQ(request.workBegin, at(3627));
  EXPECT_EQ(request.replied, at(3629));
  EXPECT_EQ(request.ending, Ending::refused);
  EXPECT_EQ(request.reason, "Port is not mapped");
  ASSERT_THAT(request.messages, SizeIs(2));
  const TracedMessage& first = request.messages[0];
  EXPECT_EQ(first.slot, 9);
  EXPECT_EQ(first.type, "MGMT_INTERFACE_MAPPING_IND");
  EXPECT_EQ(first.queued, at(3627));
  EXPECT_EQ(first.sendBegin, at(3627));
  EXPECT_EQ(first.sent, at(3628));
  EXPECT_EQ(first.answered, at(3628));
  EXPECT_EQ(first.refusal, "Port is not mapped");
  EXPECT_THAT(first.dump, HasSubstr("PwVlan = 4009\nPwPort = 9\nAcVlan"));
  EXPECT_EQ(request.messages[1].type, "RUN_DEFAULT_SCRIPT_COMMAND");
  EXPECT_EQ(request.messages[1].handled, at(3629));
  EXPECT_THAT(occupancy(history), ElementsAre(1, 2, 1, 0));
  ASSERT_THAT(history.marks, SizeIs(1));
  EXPECT_EQ(history.marks[0].kind, MarkKind::refusal);
  EXPECT_THAT(history.notes, IsEmpty());
}

TEST(LogFile, DebugSocketIsACallerToo) {
  const History history = read(debugMessage);
  ASSERT_THAT(history.requests, SizeIs(1));
  EXPECT_EQ(history.requests[0].kind, RequestKind::debug);
  EXPECT_EQ(history.requests[0].ending, Ending::answered);
  ASSERT_THAT(history.requests[0].messages, SizeIs(1));
  EXPECT_EQ(history.requests[0].messages[0].slot, 8);
  EXPECT_EQ(history.requests[0].messages[0].type, "FLUSH_CMD");
}

TEST(LogFile, RequestThatLooksLikeAnotherHasBounds) {
  const History history = read(lines({arrival, arrival, processing, unlock, arrival, processing, unlock,
                                      processing, unlock, arrival, processing, unlock}));
  ASSERT_THAT(history.requests, SizeIs(4));
  EXPECT_EQ(history.requests[0].arrived, at(100));
  EXPECT_EQ(history.requests[0].arrivedLast, at(101));
  EXPECT_EQ(history.requests[1].arrived, at(100));
  EXPECT_EQ(history.requests[1].arrivedLast, at(104));
  EXPECT_EQ(history.requests[3].arrived, at(109));
  EXPECT_EQ(history.requests[3].arrivedLast, at(109));
}

TEST(LogFile, RequestsThatAskForSomethingElseAreToldApart) {
  const History history = read(lines(
      {"[DEBUG2] SrvSyncE:202 (setSyncEParam) - setSyncEParam: "
       "enableFilter=2,enableClk=1,slot=3,clksrc=2,phymode=1",
       "[DEBUG2] SrvSyncE:202 (setSyncEParam) - setSyncEParam: "
       "enableFilter=2,enableClk=1,slot=4,clksrc=2,phymode=1",
       "[DEBUG2] SrvSyncE:31 (run_iss_syncE_thread) - Processing SetSyncEParam message",
       "[DEBUG2] SrvSyncE:33 (run_iss_syncE_thread) - enableFilter=2,enableClk=1,slot=4,clksrc=2,phymode=1",
       "[DEBUG3] SrvSyncE:168 (run_iss_syncE_thread) - mutex unlock"}));
  ASSERT_THAT(history.requests, SizeIs(2));
  EXPECT_EQ(history.requests[0].arrived, at(100));
  EXPECT_FALSE(history.requests[0].workBegin);
  EXPECT_EQ(history.requests[0].ending, Ending::open);
  EXPECT_EQ(history.requests[1].arrived, at(101));
  EXPECT_EQ(history.requests[1].arrivedLast, at(101));
  EXPECT_EQ(history.requests[1].workBegin, at(102));
}

TEST(LogFile, RefusalOfTheDaemonIsNoSecondRequest) {
  const std::string arguments = "ruleType=MST_TOPO_LAN, action=DELETE, L2Pbmp=0x4=4";
  const std::string handler = "[DEBUG2] SrvIssMgr:591 (setIssMgrParams) - " + arguments + ", MplsPbmp=0x0=0";
  const std::string worker =
      "[DEBUG2] SrvIssMgr:65 (run_iss_IssMgr_thread) - " + arguments + " MplsPbmp=0x0=0";
  const std::string error =
      "[ERROR] SrvIssMgr:176 (run_iss_IssMgr_thread) - " + arguments + ": unable to delete: FP ID is 0";
  const History history = read(
      lines({handler.c_str(), worker.c_str(), error.c_str(),
             "[DEBUG3] SrvIssMgr:471 (run_iss_IssMgr_thread) - mutex lock", arrival, processing, unlock}));
  ASSERT_THAT(history.requests, SizeIs(2));
  EXPECT_EQ(history.requests[0].ending, Ending::failed);
  EXPECT_THAT(history.requests[0].reason, HasSubstr("unable to delete: FP ID is 0"));
  EXPECT_THAT(history.requests[0].ports, ElementsAre(3));
}

TEST(LogFile, PortOfAProbeIsInItsAnswer) {
  const History history = read(lines(
      {arrival, processing, "[DEBUG3] SrvIss:137 (run_iss_script_thread) - message writepointer 3", unlock,
       "[DEBUG3] main:733 (iss_comm) - iss thread: sending msg to OPS rp:3 wp:4 source:1",
       "[DEBUG3] main:735 (iss_comm) - Sending packet to OPS",
       "[DEBUG3] main:322 (main) - Message from OPS received: RP=3 WP=4",
       "[DEBUG1] MsgHandle:44 (printPacket) - Msg Type = IFC_INSERT_DELETE_IND [5]",
       "[DEBUG2] MsgHandle:69 (printPacket) - Interface Num = 7",
       "[DEBUG3] main:449 (main) - MESSAGE SOURCE 1", "[DEBUG3] main:477 (main) - send reply over OTNbus",
       "[DEBUG3] main:628 (main) - send signal cond2"}));
  ASSERT_THAT(history.requests, SizeIs(1));
  EXPECT_THAT(history.requests[0].ports, ElementsAre(7));
  EXPECT_EQ(history.requests[0].replied, at(110));
}

TEST(LogFile, MessageIsSentBeforeItsAnswerIsFound) {
  const History history = read(
      lines({"[DEBUG3] main:733 (iss_comm) - iss thread: sending msg to OPS rp:3 wp:4 source:4",
             "[DEBUG3] main:322 (main) - Message from OPS received: RP=3 WP=4",
             "[DEBUG3] main:735 (iss_comm) - Sending packet to OPS",
             "[DEBUG3] main:449 (main) - MESSAGE SOURCE 4", "[DEBUG3] main:628 (main) - send signal cond2"}));
  ASSERT_THAT(history.requests, SizeIs(1));
  EXPECT_EQ(history.requests[0].messages[0].answered, at(101));
  EXPECT_EQ(history.requests[0].messages[0].sent, at(101)) << "the sender told it later than the answer came";
}

TEST(LogFile, FullRingEndsARequest) {
  const History history = read(lines({arrival, processing, full}));
  ASSERT_THAT(history.requests, SizeIs(1));
  EXPECT_EQ(history.requests[0].ending, Ending::failed);
  EXPECT_EQ(history.requests[0].reason, "the ring was full");
  EXPECT_EQ(history.marks.at(0).kind, MarkKind::full);
}

TEST(LogFile, WhatBeganBeforeTheLogIsNotMadeUp) {
  const std::string log = release;
  const History history = read(log.substr(log.find("2026-11-21 19:47:03.627 [DEBUG3] main:733")));
  ASSERT_THAT(history.requests, SizeIs(2)) << "nothing says that the two messages are one request's";
  EXPECT_FALSE(history.requests[0].arrived);
  EXPECT_EQ(history.requests[0].messages[0].slot, 9);
  EXPECT_EQ(history.requests[1].replied, at(3629));
  EXPECT_THAT(occupancy(history), ElementsAre(2, 1, 0));
}

TEST(LogFile, NothingIsFollowedAcrossAGap) {
  const std::string log = release;
  const std::string first = log.substr(0, log.find("2026-11-21 19:47:03.627 [DEBUG3] main:733"));
  for (const char* gap :
       {"2026-11-21 19:47:03.700 [NOTICE] SrvCommon:37 (set_trace_level) - Set trace level to [6]\n",
        "2026-11-21 19:47:03.700 [INFO] main:673 (start_otn_comm) - OTNBUS thread started\n",
        "2026-11-21T19:47:03Z b systemd-journald[1]: Suppressed 5 messages from trelvik.service\n"}) {
    const History history = read(first + gap + debugMessage);
    ASSERT_THAT(history.requests, SizeIs(2)) << gap;
    EXPECT_THAT(history.requests.back().ending,
                history.requests.front().kind == RequestKind::debug ? Ending::open : Ending::answered);
  }
}

TEST(LogFile, RequestWithoutAThreadLeavesNoneToTakeUp) {
  const std::string noThread =
      "2026-11-21 19:47:03.000 [ERROR] SrvIss:48 (setPortParams) - Failed to create thread: no memory\n";
  const History history = read(lines({arrival}) + noThread + lines({processing, unlock}));
  ASSERT_THAT(history.requests, SizeIs(2));
  EXPECT_EQ(history.requests[0].ending, Ending::failed);
  EXPECT_FALSE(history.requests[1].arrived) << "its own arrival is not in the log";
  const History both = read(lines({arrival, arrival, processing, unlock}) + noThread + lines({processing}));
  EXPECT_THAT(both.requests, SizeIs(3));
  EXPECT_THAT(both.notes, IsEmpty());
}

TEST(LogFile, MessageGivenUpWhileItsAnswerIsRoutedIsNotFollowed) {
  const std::string log = release;
  const size_t routed = log.find("2026-11-21 19:47:03.628 [DEBUG3] main:473");
  const History history = read(
      log.substr(0, routed) + "2026-11-21 19:47:03.628 [ERROR] main:98 (main) - gave up IssSetLanWanAsync\n" +
      log.substr(routed));
  ASSERT_FALSE(history.requests.empty());
  EXPECT_EQ(history.requests[0].ending, Ending::givenUp);
}

TEST(LogFile, LinesOfOthersArePassedOver) {
  std::string log;
  for (const char c : std::string(release)) {
    log += c;
    if (c == '\n') log += "2026-11-21 19:47:03.628      iss | -> ALIVE [3]\n";
  }
  const History history = read(log);
  ASSERT_THAT(history.requests, SizeIs(1));
  EXPECT_EQ(history.requests[0].replied, at(3629));
  EXPECT_GT(history.otherLines, 50U);
}

TEST(LogFile, AnyPartOfALogIsRead) {
  const std::string log = std::string(release) + debugMessage;
  for (size_t i = 0; i < log.size(); i += 61) {
    read(log.substr(i));
    read(log.substr(0, i));
  }
  EXPECT_THAT(read("").notes, SizeIs(1));
}

}  // namespace
