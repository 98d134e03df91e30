#include "frame/opsMessage.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "TraceObject.h"
#include "boardUtils.h"
#include "executeCommand.h"
#include "frame/deletePersistentIssConfig.h"
#include "frame/mainPlace.h"
#include "frame/routeAnswer.h"
#include "link/CriticalActivity.h"
#include "link/IssSocket.h"
#include "message/MsgHandle.h"
#include "services/ports/SrvIss.h"

namespace {

constexpr const char* commitMarker = "/persistency/iss/default_conf.commit";
constexpr const char* openPorts = "/bin/sh -c /etc/iss/openPorts.sh";

/// False when the command has failed. One that a stop did not let us wait for has not.
bool run(const char* command) {
  int status = 0;
  return otn::executeCommand(command, true, &status, nullptr, true) || status == otn::statusUnknown;
}

void touchReadyMarker(int line) {
  if (!run("touch /tmp/iss_is_ready")) LOG(ERROR, atMain, line, "Failed to touch /tmp/iss_is_ready");
}

void sendWhatWaited() REQUIRES(mutex) {
  if (readpointer != writepointer) wakeSender();
}

void createCommitMarker() {
  const int fd = open(commitMarker, O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666);
  if (fd >= 0) {
    close(fd);
  } else {
    LOG(WARNING, atMain, HERE, "%s not made (%s): ISS runs its default script again when it starts next",
        commitMarker, strerror(errno));
  }
}

void opsReady(OtnIpcMsg& msg, bool csmBoard) {
  LOG(INFO, atMain, 355, "OPS ready to receive messages.\n");
  if (!csmBoard || access(commitMarker, F_OK) == 0) return;
  LOG(INFO, atMain, 362, "Creating default.conf!\n");
  CreateDefaultScriptPacket(msg);
  opsSocket.sentPacket(&msg, sizeof msg);
}

void defaultScriptDone(bool csmBoard) REQUIRES(mutex) {
  SrvIss::getInstance().sendIssStatusChange(true);
  issReady = 1;
  if (csmBoard) {
    createCommitMarker();
    LOG(INFO, atMain, 380, "default.conf created!\n");
    run(openPorts);
  }
  touchReadyMarker(386);
  sendWhatWaited();
}

void reloadSucceeded(bool csmBoard) REQUIRES(mutex) {
  LOG(INFO, atMain, 396, "MSR reload succeeded");
  SrvIss::getInstance().sendIssStatusChange(true);
  issReady = 1;
  if (csmBoard) {
    run(openPorts);
    LOG(DEBUG2, atMain, 408, "execute command for opening ports = %s\n", openPorts);
  }
  if (!run("touch /tmp/iss_msr_succeeded")) LOG(ERROR, atMain, 416, "Failed to touch /tmp/iss_msr_succeeded");
  touchReadyMarker(420);
  sendWhatWaited();
}

void reloadFailed(bool csmBoard) {
  LOG(CRITICAL, atMain, 428, "MSR RELOAD FAILED!");
  if (csmBoard) deletePersistentIssConfig();
  reportCriticalEvent("CORRUPTED CONFIG FILE! REMOVED ISS CONFIG AND REBOOT!\n");
}

void portStatusChanged(const OtnIpcMsg& msg) {
  const ops::PortStatusChange& change = msg.payload.portStatus;
  SrvIss::getInstance().sendLinkStatusChange(change.interfaceNum, change.adminStatus == 1,
                                             change.operationalStatus == 1);
}

}  // namespace

OpsMessage classify(const OtnIpcMsg& msg) {
  if (IsOpsReadyPacket(msg)) return OpsMessage::Ready;
  if (IsDefaultScriptPacket(msg)) return OpsMessage::DefaultScriptDone;
  if (IsMsrReloadStatusPacket(msg))
    return MSRReloadFailed(msg) ? OpsMessage::ReloadFailed : OpsMessage::ReloadSucceeded;
  if (IsAlivePacket(msg)) return OpsMessage::Alive;
  if (IsCpuThresholdPacket(msg)) return OpsMessage::CpuThreshold;
  if (IsPortStatusChangePacket(msg)) return OpsMessage::PortStatusChange;
  if (IsReplyPacket(msg)) return OpsMessage::Answer;
  return OpsMessage::Unexpected;
}

bool isCsmBoard(const boardUtils& board) {
  return board.getName().find("CSM") != std::string::npos;
}

void handleOpsMessage(OtnIpcMsg& msg, const boardUtils& board, CriticalActivity& opsActivity,
                      SrvDbg& debugSocket) {
  printPacket(msg);
  bool routed = false;
  switch (classify(msg)) {
    case OpsMessage::Ready:
      opsReady(msg, isCsmBoard(board));
      break;
    case OpsMessage::DefaultScriptDone:
      defaultScriptDone(isCsmBoard(board));
      break;
    case OpsMessage::ReloadSucceeded:
      reloadSucceeded(isCsmBoard(board));
      break;
    case OpsMessage::ReloadFailed:
      reloadFailed(isCsmBoard(board));
      break;
    case OpsMessage::Alive:
      LOG(DEBUG2, atMain, 439, "Received ALIVE message\n");
      opsActivity.kick();
      break;
    case OpsMessage::CpuThreshold: {
      const std::string_view name = GetThreadName(msg);
      LOG(INFO, atMain, 444, "CPU exceeds threshold for thread %.*s\n", static_cast<int>(name.size()),
          name.data());
      break;
    }
    case OpsMessage::PortStatusChange:
      portStatusChanged(msg);
      break;
    case OpsMessage::Answer:
      routed = routeAnswer(msg, debugSocket);
      break;
    case OpsMessage::Unexpected:
      LOG(ERROR, atMain, 624, "unexpected message received from OPS\n");
      break;
  }
  IssProcessing = 0;
  LOG(DEBUG3, atMain, 628, "send signal cond2\n");
  // Only a routed answer lets the sender go on: it waits for the answer to its own message.
  if (routed) answerRouted();
}
