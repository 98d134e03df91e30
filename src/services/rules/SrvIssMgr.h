// ISS manager rules: ETS, MSTP, MRP and LLDP rules, flushes and VLAN mappings.
//
// A process-wide singleton, because OPS's answers bring it the ids of its MSTP rules; created by the bus
// thread and destroyed at its end. setIssMgrParams runs on the bus thread, the rest on workers and, for the
// ids, on the main thread with the ring's mutex held.
#pragma once

#include <cstdint>
#include <string>
#include <utility>

#include "OBsetIssMgrParams_1_0_S.h"
#include "OBsetIssMgrParams_1_0_SI.h"
#include "services/pattern/ServicePattern.h"
#include "services/pattern/Singleton.h"
#include "services/rules/IssMgrRules.h"
#include "services/rules/MstpStore.h"

class SrvIssMgr;

struct IssMgrRequest {
  static constexpr BusInterface busInterface = BusInterface::IssMgr;
  SrvIssMgr* service;
  ReplyOwner reply;
  IssMgrArguments arguments;

  size_t textSize() const { return arguments.dataVfis.size(); }
};
static_assert(sizeof(void*) != 4 || sizeof(IssMgrRequest) == 100);

class SrvIssMgr : public OBsetIssMgrParams_1_0_SI, public Singleton<SrvIssMgr> {
 public:
  static constexpr const char* instanceSource = "src/services/rules/SrvIssMgr.cpp";
  static constexpr const char* instanceFunction = "static SrvIssMgr& SrvIssMgr::getInstance()";

  void register_interface(OBcomponent* component) override;

  void setIssMgrParams(OBstubReply* reply, uint32_t ruleType, uint32_t action, uint32_t L2Pbmp,
                       uint32_t MplsPbmp, int32_t flushAct, uint32_t vpn, uint32_t vp, uint32_t port,
                       uint32_t vlan, uint32_t mplsLbl, uint32_t pwLbl, std::string dataVfis,
                       uint32_t chassisId, uint32_t lldpReserved, uint32_t MgmtIp, uint16_t slotId,
                       int32_t fpId0, int32_t fpId1) override;
  using OBsetIssMgrParams_1_0_SI::setIssMgrParams;

  /// The forwarding-entry ids of a reply that ISS's answer brought none for.
  static constexpr std::pair<int32_t, int32_t> noFpIds{-1, -1};
  /// Answers a call: its arguments go back, their text taken out of `saved`, with these forwarding-entry ids
  /// in place of its own. Releases `reply` without a stub. Any thread.
  void giveReply(ReplyOwner reply, SavedArguments& saved, const std::pair<int32_t, int32_t>& fpIds);

  /// Null until the interface is registered.
  OBsetIssMgrParams_1_0_S* stub() const { return m_pStub; }

  // The MSTP rules' ids; with the ring's mutex held.
  uint32_t mstpLanFpId() const { return m_mstp.lanFpId(); }
  void setMstpLanFpId(uint32_t fpId) { m_mstp.setLanFpId(fpId); }
  static int32_t extractPortFromPbmp(uint32_t pbmp) { return MstpStore::extractPortFromPbmp(pbmp); }
  void storeMstpWanConfigFpIds(uint32_t pbmp, int32_t mplsLabel, int32_t pwLabel, int32_t fpId0,
                               int32_t fpId1) {
    m_mstp.storeWanFpIds(pbmp, mplsLabel, pwLabel, fpId0, fpId1);
  }
  bool getAndDeleteMstpWanConfigFpIds(int32_t port, int32_t mplsLabel, int32_t pwLabel, int32_t& fpId0,
                                      int32_t& fpId1) {
    return m_mstp.takeWanFpIds(port, mplsLabel, pwLabel, fpId0, fpId1);
  }

 private:
  friend class Singleton<SrvIssMgr>;
  SrvIssMgr() = default;
  ~SrvIssMgr() override;

  OBsetIssMgrParams_1_0_S* m_pStub = nullptr;
  MstpStore m_mstp;
};

/// The messages of a request, in their order: rule, second command.
using IssMgrBatch = MessageBatch<2>;
/// Adds them to an empty batch, and takes the id of a rule that is to be deleted out of `service`.
void buildIssMgrMessages(SrvIssMgr& service, const IssMgrArguments& arguments, IssMgrBatch& batch)
    REQUIRES(mutex);

/// Worker; owns the request.
void run_iss_IssMgr_thread(IssMgrRequest* request);
