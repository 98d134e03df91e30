#include "frame/slotReply.h"

#include "TraceObject.h"
#include "frame/mainPlace.h"
#include "link/MsgArray.h"
#include "services/ports/SrvIss.h"
#include "services/rules/SrvIssMgr.h"
#include "services/smartsfp/SrvSmartSfp.h"
#include "services/synce/SrvSyncE.h"

namespace {

/// Whether a reply is due now. Without a service or stub there never is one: with the last message its handle
/// is released.
template <class Service>
bool replyIsDue(MsgArrayEntry& slot, const Service* service, bool last, int logLine) {
  if (service == nullptr || service->stub() == nullptr) {
    LOG(ERROR, atMain, HERE, "no service to send the reply of this answer, source %d",
        static_cast<int>(slot.source));
    if (last) OBstubReply::release(std::exchange(slot.reply, nullptr));
    return false;
  }
  if (last) LOG(DEBUG3, atMain, logLine, "send reply over OTNbus\n");
  return last;
}

ReplyOwner takeReply(MsgArrayEntry& slot) {
  return ReplyOwner(std::exchange(slot.reply, nullptr));
}

/// The text of a request stands in its last slot only.
void takeText(MsgArrayEntry& slot) REQUIRES(mutex) {
  MsgArrayEntry& last = MsgArray[(&slot - MsgArray + slot.msgCount - slot.msgNo) % MsgArraySize];
  if (last.reply == slot.reply) slot.arguments.dataVfis.swap(last.arguments.dataVfis);
}

}  // namespace

void replyPortParams(MsgArrayEntry& slot, bool last) {
  SrvIss* const service = slot.portParamsService;
  if (replyIsDue(slot, service, last, 477)) service->giveReply(takeReply(slot), slot.arguments);
}

void replySyncE(MsgArrayEntry& slot, bool last) {
  SrvSyncE* const service = slot.syncEService;
  if (replyIsDue(slot, service, last, 503)) service->giveReply(takeReply(slot), slot.arguments);
}

void replyIssMgr(MsgArrayEntry& slot, bool last, const std::pair<int32_t, int32_t>& ids) {
  SrvIssMgr* const service = slot.issMgrService;
  if (replyIsDue(slot, service, last, 541)) service->giveReply(takeReply(slot), slot.arguments, ids);
}

void replySmartSfp(MsgArrayEntry& slot, bool last, uint32_t ports) {
  SrvSmartSfp* const service = slot.smartSfpService;
  if (!replyIsDue(slot, service, last, 572)) return;
  service->giveReply(takeReply(slot), slot.arguments, ports, {});
  LOG(DEBUG3, atMain, 580, "sent reply over OTNbus\n");
}

void replyWithoutAnswer(MsgArrayEntry& slot) {
  switch (slot.source) {
    case MsgSource::PortParams:
      replyPortParams(slot, true);
      break;
    case MsgSource::SyncE:
      replySyncE(slot, true);
      break;
    case MsgSource::IssMgr:
      takeText(slot);
      replyIssMgr(slot, true, SrvIssMgr::noFpIds);
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
