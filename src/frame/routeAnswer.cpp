#include "frame/routeAnswer.h"

#include "link/CriticalActivity.h"
#include "link/MsgArray.h"
#include "link/SrvDbg.h"
#include "message/MsgHandle.h"
#include "services/SrvIss.h"
#include "services/SrvIssMgr.h"
#include "services/SrvSmartSfp.h"
#include "services/SrvSyncE.h"
#include "trace.h"

#define LOG_HERE(LEVEL, line, format, ...) \
  TRACE(LEVEL, "main", line, "main", format __VA_OPT__(, ) __VA_ARGS__)

namespace {

/// Gives a request's bus reply after its last answer. A slot without a service or stub can give none: its
/// handle is released, so that the bus forgets the call.
template <class Service, class Reply>
void replyWhenLast(MsgArrayEntry& slot, Service* service, int logLine, Reply reply) {
  const bool last = slot.msgNo == slot.msgCount;
  if (service == nullptr || service->stub() == nullptr) {
    LOG_HERE(ERROR, __LINE__, "no service to send the reply of this answer, source %d",
             static_cast<int>(slot.source));
    if (last) OBstubReply::release(std::exchange(slot.reply, nullptr));
    return;
  }
  if (!last) return;
  LOG_HERE(DEBUG3, logLine, "send reply over OTNbus\n");
  reply(*service->stub(), std::exchange(slot.reply, nullptr), slot.arguments);
}

void answerPortParams(MsgArrayEntry& slot, const OtnIpcMsg& answer) {
  if (IsOpsError(answer))
    reportCriticalEvent("OPS REPORTED ERROR IN REPLY MESSAGE!\n");
  else if (IsCreateMgmtTunnelPacket(answer))
    StoreDcnTunnelIds(answer);
  LOG_HERE(DEBUG3, 473, "Sending reply msg to OTNBus\n");
  replyWhenLast(slot, slot.portParamsService, 477,
                [](OBsetPortParams_1_0_S& stub, OBstubReply* reply, const SavedArguments& saved) {
                  stub.setPortParams_reply(reply, saved.action, saved.ifType, saved.portNr, saved.ifSpeed,
                                           saved.bConfigure != 0, saved.acVlan, saved.extra1, saved.extra2);
                });
}

void answerSyncE(MsgArrayEntry& slot, const OtnIpcMsg& answer) {
  if (IsOpsError(answer)) reportCriticalEvent("OPS REPORTED ERROR IN SYNCE REPLY MESSAGE!\n");
  LOG_HERE(DEBUG3, 499, "Sending reply msg to OTNBus\n");
  replyWhenLast(slot, slot.syncEService, 503,
                [](OBsetSyncEParams_1_0_S& stub, OBstubReply* reply, const SavedArguments& saved) {
                  stub.setSyncEParam_reply(reply, saved.enableFilter, saved.slot, saved.enableClk,
                                           saved.clksrc, saved.phymode, saved.sendPdu, saved.pduWord1,
                                           saved.pduWord2, saved.pduWord3);
                });
}

void answerIssMgr(MsgArrayEntry& slot, const OtnIpcMsg& answer) {
  if (IsOpsError(answer)) reportCriticalEvent("OPS REPORTED ERROR IN ISSMGR REPLY MESSAGE!\n");
  if (IsEtsFpIdPacket(answer)) StoreEtsFpIds(answer);
  if (IsMstFpIdPacket(answer)) StoreMstFpIds(answer);
  LOG_HERE(DEBUG3, 534, "Sending reply msg to OTNBus\n");
  std::pair<int32_t, int32_t> ids;
  GetFpIds(answer, ids);
  replyWhenLast(slot, slot.issMgrService, 541,
                [&ids](OBsetIssMgrParams_1_0_S& stub, OBstubReply* reply, const SavedArguments& saved) {
                  stub.setIssMgrParams_reply(reply, saved.ruleType, saved.action, saved.L2Pbmp,
                                             saved.MplsPbmp, saved.flushAct, saved.vpn, saved.vp,
                                             saved.portNr, saved.vlan, saved.mplsLbl, saved.pwLbl,
                                             saved.dataVfis, 0, 0, 0, 0, ids.first, ids.second);
                });
}

void answerSmartSfp(MsgArrayEntry& slot, const OtnIpcMsg& answer) {
  if (IsOpsError(answer)) reportCriticalEvent("OPS REPORTED ERROR IN SMARTSFP REPLY MESSAGE!\n");
  LOG_HERE(DEBUG3, 567, "Sending reply msg to OTNBus\n");
  const uint32_t ports = ParseFpIdandPorts(answer);
  replyWhenLast(slot, slot.smartSfpService, 572,
                [ports](OBsetSmartSfpParams_1_0_S& stub, OBstubReply* reply, const SavedArguments& saved) {
                  stub.setSmartSfpParams_reply(reply, saved.enableFilter, saved.action, saved.sendOutPDU,
                                               ports, saved.size, std::string());
                  LOG_HERE(DEBUG3, 580, "sent reply over OTNbus\n");
                });
}

void answerRedundancy(const OtnIpcMsg& answer) {
  LOG_HERE(DEBUG3, 589, "Redundancystate reply msg received from OPS\n");
  if (!IsOpsError(answer)) return;
  LOG_HERE(ERROR, 593, "OPS REPORTED ERROR IN REDUNDANCY REPLY MESSAGE!\n");
  reportCriticalEvent("OPS REPORTED ERROR IN REDUNDANCY REPLY MESSAGE!\n");
}

void answerDebugClient(const OtnIpcMsg& answer, SrvDbg& debugSocket) {
  LOG_HERE(DEBUG3, 452, "Sending reply msg to debug socket\n");
  debugSocket.sendReply(&answer, sizeof answer);
}

}  // namespace

bool routeAnswer(const OtnIpcMsg& answer, SrvDbg& debugSocket) {
  MsgArrayEntry& slot = MsgArray[readpointer];
  LOG_HERE(DEBUG3, 449, "MESSAGE SOURCE %d\n", static_cast<int>(slot.source));
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
      answerRedundancy(answer);
      break;
    default:
      return false;
  }
  consumeSlot();
  return true;
}
