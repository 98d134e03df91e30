#include "frame/routeAnswer.h"

#include "link/CriticalActivity.h"
#include "link/MsgArray.h"
#include "link/SrvDbg.h"
#include "message/MsgHandle.h"
#include "services/SrvIss.h"
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
    case MsgSource::Redundancy:
      answerRedundancy(answer);
      break;
    default:
      return false;
  }
  consumeSlot();
  return true;
}
