#include "TraceObject.h"
#include "services/rules/SrvIssMgr.h"

namespace {

constexpr LogPlace worker{"SrvIssMgr", "run_iss_IssMgr_thread"};

void refuseAction(const IssMgrArguments& arguments, int line, IssMgrBatch& batch) {
  LOG(ERROR, worker, line, "ruleType = %s does not support action = %s [%d]",
      ruleTypeName(arguments.ruleType), ruleActionName(arguments.action), static_cast<int>(arguments.action));
  batch.refused = true;
}

bool notApplicable(const IssMgrArguments& arguments) {
  return static_cast<RuleAction>(arguments.action) == RuleAction::NOT_APPLICABLE;
}

/// ETS and MRP: the one rule of each encapsulation; no other `vp` has one.
void addEncapsulated(const IssMgrArguments& arguments, OtnIpcMsg (*build)(const IssMgrArguments&, uint32_t),
                     IssMgrBatch& batch) {
  if (notApplicable(arguments)) return;
  const uint32_t encap = encapOfVp(arguments.vp);
  if (encap == 0) {
    LOG(ERROR, worker, HERE, "ruleType = %s, action = %s: vp = %u is not supported",
        ruleTypeName(arguments.ruleType), ruleActionName(arguments.action), arguments.vp);
    batch.refused = true;
    return;
  }
  batch.add([&] { return build(arguments, encap); });
}

void addMstpLan(SrvIssMgr& service, const IssMgrArguments& arguments, IssMgrBatch& batch) {
  switch (static_cast<RuleAction>(arguments.action)) {
    case RuleAction::CREATE:
      batch.add([&] { return mstpLanRule(arguments, 0); });
      break;
    case RuleAction::DELETE: {
      const uint32_t fpId = service.mstpLanFpId();
      if (fpId == 0) {
        LOG(ERROR, worker, 176, "ruleType=%s, action=%s, L2Pbmp=0x%x=%d: unable to delete: FP ID is 0",
            ruleTypeName(arguments.ruleType), "DELETE", arguments.L2Pbmp, static_cast<int>(arguments.L2Pbmp));
        batch.refused = true;
        break;
      }
      service.setMstpLanFpId(0);
      LOG(DEBUG3, worker, 185, "Delete MST_TOP_LAN: FP_ID=%d", static_cast<int>(fpId));
      batch.add([&] { return mstpLanRule(arguments, fpId); });
      break;
    }
    default:
      refuseAction(arguments, 191, batch);
  }
}

void addMstpWan(SrvIssMgr& service, const IssMgrArguments& arguments, IssMgrBatch& batch) {
  LOG(DEBUG3, worker, 207, "port=%d => portListMpls=0x%x", static_cast<int>(arguments.port),
      wanPortWord(arguments.port));
  switch (static_cast<RuleAction>(arguments.action)) {
    case RuleAction::CREATE:
      batch.add([&] { return mstpWanRule(arguments, 0, 0); });
      break;
    case RuleAction::DELETE: {
      int32_t fpId0 = 0;
      int32_t fpId1 = 0;
      if (!service.getAndDeleteMstpWanConfigFpIds(static_cast<int32_t>(arguments.port),
                                                  static_cast<int32_t>(arguments.mplsLbl),
                                                  static_cast<int32_t>(arguments.pwLbl), fpId0, fpId1)) {
        batch.refused = true;
        break;
      }
      LOG(DEBUG3, worker, 267, "Delete MST_TOP_WAN: FP_ID_0=%d, FP_ID_1=%d", fpId0, fpId1);
      batch.add([&] { return mstpWanRule(arguments, fpId0, fpId1); });
      break;
    }
    default:
      refuseAction(arguments, 273, batch);
  }
}

void addRule(SrvIssMgr& service, const IssMgrArguments& arguments, IssMgrBatch& batch) {
  switch (static_cast<RuleType>(arguments.ruleType)) {
    case RuleType::ETS:
      addEncapsulated(arguments, etsRule, batch);
      break;
    case RuleType::MST_TOPO_LAN:
      addMstpLan(service, arguments, batch);
      break;
    case RuleType::MST_TOPO_WAN:
      addMstpWan(service, arguments, batch);
      break;
    case RuleType::FLUSH:
      break;
    case RuleType::MRP:
      addEncapsulated(arguments, mrpRule, batch);
      break;
    case RuleType::MRP_GLOB:
      batch.add([&] { return mrpGlobalRule(arguments); });
      break;
    case RuleType::LLDP:
      LOG(DEBUG1, worker, 411, "Pass LLDP chassisId=%d MgmtIp=0x%08x slotId=%d action=%d",
          static_cast<int>(arguments.chassisId), arguments.MgmtIp, arguments.slotId,
          static_cast<int>(arguments.action));
      batch.add([&] { return lldpInfo(arguments); });
      break;
    default:
      LOG(ERROR, worker, 425, "Processing SetIssMgrParam received an unknown ruleType [%d]",
          static_cast<int>(arguments.ruleType));
  }
}

void addSecondCommand(const IssMgrArguments& arguments, IssMgrBatch& batch) {
  constexpr int32_t flush = 1;
  constexpr int32_t mapVlans = 2;
  if (arguments.flushAct == flush) {
    LOG(DEBUG1, worker, 431, "Sending flush cmd");
    batch.add([&] { return flushCommand(arguments); });
  } else if (arguments.flushAct == mapVlans) {
    LOG(DEBUG2, worker, 451, "Flush Key1=%d VLAN=%d and data vlans=%s",
        static_cast<int>(vlanMappingKey(arguments)), static_cast<int>(arguments.vpn),
        arguments.dataVfis.c_str());
    batch.add([&] { return vlanMapping(arguments); });
  }
}

/// All but the text.
SavedArguments save(const IssMgrArguments& arguments) {
  SavedArguments saved{};
  saved.action = arguments.action;
  saved.portNr = arguments.port;
  saved.vlan = arguments.vlan;
  saved.ruleType = arguments.ruleType;
  saved.L2Pbmp = arguments.L2Pbmp;
  saved.MplsPbmp = arguments.MplsPbmp;
  saved.flushAct = arguments.flushAct;
  saved.vpn = arguments.vpn;
  saved.vp = arguments.vp;
  saved.mplsLbl = arguments.mplsLbl;
  saved.pwLbl = arguments.pwLbl;
  return saved;
}

void replyRefused(IssMgrRequest& request) {
  SavedArguments saved = save(request.arguments);
  saved.dataVfis = std::move(request.arguments.dataVfis);
  request.service->giveReply(std::move(request.reply), saved, SrvIssMgr::noFpIds);
}

void fillSlot(MsgArrayEntry& slot, IssMgrRequest& request) noexcept {
  slot.issMgrService = request.service;
  slot.arguments = save(request.arguments);
  // The slot that gives the reply has the text; the request needs it no more.
  if (slot.msgNo == slot.msgCount) slot.arguments.dataVfis = std::move(request.arguments.dataVfis);
}

void logProcessing(const IssMgrArguments& arguments) {
  LOG(DEBUG2, worker, 65,
      "ruleType=%s, action=%s, L2Pbmp=0x%x=%d MplsPbmp=0x%x=%d, flush=%d, vpn=%d, vp=%d, port=%d, vlan=%d, "
      "mplsLbl=%d, pwLbl=%d dataVfis=%s",
      ruleTypeName(arguments.ruleType), ruleActionName(arguments.action), arguments.L2Pbmp,
      static_cast<int>(arguments.L2Pbmp), arguments.MplsPbmp, static_cast<int>(arguments.MplsPbmp),
      arguments.flushAct, static_cast<int>(arguments.vpn), static_cast<int>(arguments.vp),
      static_cast<int>(arguments.port), static_cast<int>(arguments.vlan), static_cast<int>(arguments.mplsLbl),
      static_cast<int>(arguments.pwLbl), arguments.dataVfis.c_str());
}

constexpr TailLines tail{worker, 478, 486, 529, 531};

struct Texts {
  static void locked() { LOG(DEBUG3, worker, 471, "mutex lock"); }
  static void slot(int index) { LOG(DEBUG3, worker, 505, "message writepoiter %d\n", index); }
};

/// False when the request is refused: its caller is answered at once.
bool queue(IssMgrRequest& request) REQUIRES(mutex) {
  logProcessing(request.arguments);
  IssMgrBatch batch;
  buildIssMgrMessages(*request.service, request.arguments, batch);
  const auto fill = [&request](MsgArrayEntry& slot) noexcept { fillSlot(slot, request); };
  if (queueBatch(tail, Texts(), batch, MsgSource::IssMgr, request.reply, fill)) return true;
  replyRefused(request);
  return false;
}

}  // namespace

void buildIssMgrMessages(SrvIssMgr& service, const IssMgrArguments& arguments, IssMgrBatch& batch) {
  addRule(service, arguments, batch);
  addSecondCommand(arguments, batch);
}

void run_iss_IssMgr_thread(IssMgrRequest* argument) {
  const std::unique_ptr<IssMgrRequest> request(argument);
  if (withRing(queue, *request)) LOG(DEBUG2, worker, 537, "stopped");
}
