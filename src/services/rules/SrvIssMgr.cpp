#include "services/rules/SrvIssMgr.h"

#include <cstring>

#include "TraceObject.h"

namespace {

constexpr LogPlace atSetIssMgrParams{"SrvIssMgr", "setIssMgrParams"};

}  // namespace

SrvIssMgr::~SrvIssMgr() {
  delete m_pStub;
}

void SrvIssMgr::register_interface(OBcomponent* component) {
  m_pStub = new OBsetIssMgrParams_1_0_S(this, component);
  m_pStub->register_asynchronous("IssSetIssMgrAsync");
}

void SrvIssMgr::setIssMgrParams(OBstubReply* reply, uint32_t ruleType, uint32_t action, uint32_t L2Pbmp,
                                uint32_t MplsPbmp, int32_t flushAct, uint32_t vpn, uint32_t vp, uint32_t port,
                                uint32_t vlan, uint32_t mplsLbl, uint32_t pwLbl, std::string dataVfis,
                                uint32_t chassisId, uint32_t lldpReserved, uint32_t MgmtIp, uint16_t slotId,
                                int32_t fpId0, int32_t fpId1) {
  LOG(DEBUG2, atSetIssMgrParams, 591,
      "ruleType=%s, action=%s, L2Pbmp=0x%x=%d, MplsPbmp=0x%x=%d, flushAct=%d, vpn=%d, vp=%d, port=%d, "
      "vlan=%d, mplsLbl=%d, pwLbl=%d dataVfis=%s fpId=%d,%d",
      ruleTypeName(ruleType), ruleActionName(action), L2Pbmp, static_cast<int>(L2Pbmp), MplsPbmp,
      static_cast<int>(MplsPbmp), flushAct, static_cast<int>(vpn), static_cast<int>(vp),
      static_cast<int>(port), static_cast<int>(vlan), static_cast<int>(mplsLbl), static_cast<int>(pwLbl),
      dataVfis.c_str(), fpId0, fpId1);
  IssMgrRequest request{
      this, ReplyOwner(reply),
      IssMgrArguments{ruleType, action, L2Pbmp, MplsPbmp, flushAct, vpn, vp, port, vlan, mplsLbl, pwLbl,
                      fpId0, fpId1, std::move(dataVfis), chassisId, lldpReserved, MgmtIp, slotId}};
  if (const int error = startWorker<run_iss_IssMgr_thread>(std::move(request)); error != 0)
    LOG(ERROR, atSetIssMgrParams, 623, "Failed to create thread: %s", strerror(error));
}

void SrvIssMgr::giveReply(ReplyOwner reply, SavedArguments& saved, const std::pair<int32_t, int32_t>& fpIds) {
  if (m_pStub == nullptr) return;
  m_pStub->setIssMgrParams_reply(reply.takeToAnswer(IssMgrRequest::busInterface), saved.ruleType,
                                 saved.action, saved.L2Pbmp, saved.MplsPbmp, saved.flushAct, saved.vpn,
                                 saved.vp, saved.portNr, saved.vlan, saved.mplsLbl, saved.pwLbl,
                                 std::move(saved.dataVfis), 0, 0, 0, 0, fpIds.first, fpIds.second);
}
