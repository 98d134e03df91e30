// SyncE: the ESMC trap rule, the clock, and SyncE PDUs. Object of the bus thread.
#pragma once

#include "OBsetSyncEParams_1_0_S.h"
#include "OBsetSyncEParams_1_0_SI.h"
#include "services/pattern/ServicePattern.h"
#include "services/synce/SyncEMessages.h"

class SrvSyncE;

struct SyncERequest {
  static constexpr BusInterface busInterface = BusInterface::SyncE;
  SrvSyncE* service;
  ReplyOwner reply;
  SyncEArguments arguments;
};
static_assert(sizeof(void*) != 4 || sizeof(SyncERequest) == 44);

class SrvSyncE : public OBsetSyncEParams_1_0_SI {
 public:
  SrvSyncE() = default;
  ~SrvSyncE() override;

  void register_interface(OBcomponent* component) override;

  void setSyncEParam(OBstubReply* reply, uint32_t enableFilter, uint32_t slot, uint32_t enableClk,
                     uint32_t clksrc, uint32_t phymode, uint32_t sendPdu, uint32_t pduWord1,
                     uint32_t pduWord2, uint32_t pduWord3) override;
  using OBsetSyncEParams_1_0_SI::setSyncEParam;

  /// Answers a call: its arguments go back as they are. Releases `reply` without a stub. Any thread.
  void giveReply(ReplyOwner reply, const SavedArguments& saved);

  /// Null until the interface is registered.
  OBsetSyncEParams_1_0_S* stub() const { return m_pStub; }

 private:
  OBsetSyncEParams_1_0_S* m_pStub = nullptr;
};

/// The messages of a request, in their order: rule, clock, PDU.
using SyncEBatch = MessageBatch<3>;
/// Adds them to an empty batch.
void buildSyncEMessages(const SyncEArguments& arguments, SyncEBatch& batch);

/// Worker; owns the request.
void run_iss_syncE_thread(SyncERequest* request);
