#include "frame/slotReply.h"

#include "TraceObject.h"
#include "link/MsgArray.h"
#include "services/ports/SrvIss.h"
#include "services/rules/SrvIssMgr.h"
#include "services/smartsfp/SrvSmartSfp.h"
#include "services/synce/SrvSyncE.h"

namespace {

constexpr LogPlace atMain{"main", "main"};

template <class Service, class Reply>
void replyWhenLast(MsgArrayEntry& slot, Service* service, bool last, int logLine, Reply reply) {
  if (service == nullptr || service->stub() == nullptr) {
    LOG(ERROR, atMain, HERE, "no service to send the reply of this answer, source %d",
        static_cast<int>(slot.source));
    if (last) OBstubReply::release(std::exchange(slot.reply, nullptr));
    return;
  }
  if (!last) return;
  LOG(DEBUG3, atMain, logLine, "send reply over OTNbus\n");
  reply(*service->stub(), std::exchange(slot.reply, nullptr), slot.arguments);
}

/// The text of a request stands in its last slot only.
void takeText(MsgArrayEntry& slot) {
  MsgArrayEntry& last = MsgArray[(&slot - MsgArray + slot.msgCount - slot.msgNo) % MsgArraySize];
  if (last.reply == slot.reply) slot.arguments.dataVfis.swap(last.arguments.dataVfis);
}

}  // namespace

void replyPortParams(MsgArrayEntry& slot, bool last) {
  replyWhenLast(slot, slot.portParamsService, last, 477,
                [](OBsetPortParams_1_0_S& stub, OBstubReply* reply, const SavedArguments& saved) {
                  stub.setPortParams_reply(reply, saved.action, saved.ifType, saved.portNr, saved.ifSpeed,
                                           saved.bConfigure != 0, saved.acVlan, saved.extra1, saved.extra2);
                });
}

void replySyncE(MsgArrayEntry& slot, bool last) {
  replyWhenLast(slot, slot.syncEService, last, 503,
                [](OBsetSyncEParams_1_0_S& stub, OBstubReply* reply, const SavedArguments& saved) {
                  stub.setSyncEParam_reply(reply, saved.enableFilter, saved.slot, saved.enableClk,
                                           saved.clksrc, saved.phymode, saved.sendPdu, saved.pduWord1,
                                           saved.pduWord2, saved.pduWord3);
                });
}

void replyIssMgr(MsgArrayEntry& slot, bool last, const std::pair<int32_t, int32_t>& ids) {
  replyWhenLast(slot, slot.issMgrService, last, 541,
                [&ids](OBsetIssMgrParams_1_0_S& stub, OBstubReply* reply, SavedArguments& saved) {
                  stub.setIssMgrParams_reply(reply, saved.ruleType, saved.action, saved.L2Pbmp,
                                             saved.MplsPbmp, saved.flushAct, saved.vpn, saved.vp,
                                             saved.portNr, saved.vlan, saved.mplsLbl, saved.pwLbl,
                                             std::move(saved.dataVfis), 0, 0, 0, 0, ids.first, ids.second);
                });
}

void replySmartSfp(MsgArrayEntry& slot, bool last, uint32_t ports) {
  replyWhenLast(slot, slot.smartSfpService, last, 572,
                [ports](OBsetSmartSfpParams_1_0_S& stub, OBstubReply* reply, const SavedArguments& saved) {
                  stub.setSmartSfpParams_reply(reply, saved.enableFilter, saved.action, saved.sendOutPDU,
                                               ports, saved.size, std::string());
                  LOG(DEBUG3, atMain, 580, "sent reply over OTNbus\n");
                });
}

void replyWithoutAnswer(MsgArrayEntry& slot) {
  constexpr std::pair<int32_t, int32_t> refused{-1, -1};
  switch (slot.source) {
    case MsgSource::PortParams:
      replyPortParams(slot, true);
      break;
    case MsgSource::SyncE:
      replySyncE(slot, true);
      break;
    case MsgSource::IssMgr:
      takeText(slot);
      replyIssMgr(slot, true, refused);
      break;
    case MsgSource::SmartSfp:
      replySmartSfp(slot, true, slot.arguments.pbmp);
      break;
    case MsgSource::Debug:
    case MsgSource::Redundancy:
    case MsgSource::None:
      break;
  }
}
