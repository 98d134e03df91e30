#include "frame/routeAnswer.h"

#include "TraceObject.h"
#include "frame/answerIds.h"
#include "frame/mainPlace.h"
#include "frame/slotReply.h"
#include "frame/slotText.h"
#include "link/CriticalActivity.h"
#include "link/MsgArray.h"
#include "link/SrvDbg.h"
#include "link/Traffic.h"
#include "message/MsgHandle.h"
#include "printable.h"

namespace {

bool isLast(const MsgArrayEntry& slot) {
  return slot.msgNo == slot.msgCount;
}

/// The reply will not say it, so the log does.
void tellRefusal(const MsgArrayEntry& slot, const OtnIpcMsg& answer, const char* whoIsNotTold) {
  if (InterfaceCounts* const counts = countsOf(slot.source); counts != nullptr) ++counts->refusedByIss;
  LOG(WARNING, atMain, HERE, "ISS refused %s: \"%s\"%s", slotText(slot).text,
      Printable(fieldText(answer.errorString)).c_str(), whoIsNotTold);
}

/// True when ISS refused the message of a bus caller, which is then told to the log and to the monitor.
bool refused(const MsgArrayEntry& slot, const OtnIpcMsg& answer, const char* event) {
  if (!IsOpsError(answer)) return false;
  tellRefusal(slot, answer, "; its caller's reply does not show it");
  reportCriticalEvent(event);
  return true;
}

void answerPortParams(MsgArrayEntry& slot, const OtnIpcMsg& answer) REQUIRES(mutex) {
  if (!refused(slot, answer, "OPS REPORTED ERROR IN REPLY MESSAGE!\n") && IsCreateMgmtTunnelPacket(answer))
    StoreDcnTunnelIds(answer);
  LOG(DEBUG3, atMain, 473, "Sending reply msg to OTNBus\n");
  replyPortParams(slot, isLast(slot));
}

void answerSyncE(MsgArrayEntry& slot, const OtnIpcMsg& answer) REQUIRES(mutex) {
  refused(slot, answer, "OPS REPORTED ERROR IN SYNCE REPLY MESSAGE!\n");
  LOG(DEBUG3, atMain, 499, "Sending reply msg to OTNBus\n");
  replySyncE(slot, isLast(slot));
}

void answerIssMgr(MsgArrayEntry& slot, const OtnIpcMsg& answer) REQUIRES(mutex) {
  refused(slot, answer, "OPS REPORTED ERROR IN ISSMGR REPLY MESSAGE!\n");
  if (IsEtsFpIdPacket(answer)) StoreEtsFpIds(answer);
  if (IsMstFpIdPacket(answer)) StoreMstFpIds(answer);
  LOG(DEBUG3, atMain, 534, "Sending reply msg to OTNBus\n");
  std::pair<int32_t, int32_t> ids;
  GetFpIds(answer, ids);
  replyIssMgr(slot, isLast(slot), ids);
}

void answerSmartSfp(MsgArrayEntry& slot, const OtnIpcMsg& answer) REQUIRES(mutex) {
  refused(slot, answer, "OPS REPORTED ERROR IN SMARTSFP REPLY MESSAGE!\n");
  LOG(DEBUG3, atMain, 567, "Sending reply msg to OTNBus\n");
  replySmartSfp(slot, isLast(slot), ParseFpIdandPorts(answer));
}

void answerRedundancy(const MsgArrayEntry& slot, const OtnIpcMsg& answer) {
  LOG(DEBUG3, atMain, 589, "Redundancystate reply msg received from OPS\n");
  if (!IsOpsError(answer)) return;
  LOG(ERROR, atMain, 593, "OPS REPORTED ERROR IN REDUNDANCY REPLY MESSAGE!\n");
  tellRefusal(slot, answer, "");
  reportCriticalEvent("OPS REPORTED ERROR IN REDUNDANCY REPLY MESSAGE!\n");
}

void answerDebugClient(const OtnIpcMsg& answer, SrvDbg& debugSocket) {
  LOG(DEBUG3, atMain, 452, "Sending reply msg to debug socket\n");
  debugSocket.sendReply(&answer, sizeof answer);
}

}  // namespace

bool routeAnswer(const OtnIpcMsg& answer, SrvDbg& debugSocket) {
  MsgArrayEntry& slot = MsgArray[readpointer];
  countAnswer(std::chrono::steady_clock::now());
  LOG(DEBUG3, atMain, 449, "MESSAGE SOURCE %d\n", static_cast<int>(slot.source));
  switch (slot.source) {
    case MsgSource::PortParams:
      answerPortParams(slot, answer);
      break;
    case MsgSource::Debug:
      answerDebugClient(answer, debugSocket);
      break;
    case MsgSource::SyncE:
      answerSyncE(slot, answer);
      break;
    case MsgSource::IssMgr:
      answerIssMgr(slot, answer);
      break;
    case MsgSource::SmartSfp:
      answerSmartSfp(slot, answer);
      break;
    case MsgSource::Redundancy:
      answerRedundancy(slot, answer);
      break;
    default:
      return false;
  }
  consumeSlot();
  return true;
}
