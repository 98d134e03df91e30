// Smart SFP: the filter that steers the modules' management frames to the CPU, and PDUs out of given ports.
//
// A process-wide singleton, because OPS's answers bring it the id of its rule; created by the bus thread and
// never destroyed at stop. setSmartSfpParams runs on the bus thread, setFpId on the main thread, the rest on
// workers.
#pragma once

#include <cstdint>
#include <string>

#include "OBsetSmartSfpParams_1_0_S.h"
#include "OBsetSmartSfpParams_1_0_SI.h"
#include "process/Relaxed.h"
#include "services/pattern/ServicePattern.h"
#include "services/pattern/Singleton.h"
#include "services/smartsfp/SmartSfpMessages.h"

class SrvSmartSfp;

struct SmartSfpRequest {
  static constexpr BusInterface busInterface = BusInterface::SmartSfp;
  SrvSmartSfp* service;
  ReplyOwner reply;
  SmartSfpArguments arguments;

  size_t textSize() const { return arguments.pdu.size(); }
};
static_assert(sizeof(void*) != 4 || sizeof(SmartSfpRequest) == 56);

class SrvSmartSfp : public OBsetSmartSfpParams_1_0_SI, public Singleton<SrvSmartSfp> {
 public:
  static constexpr const char* instanceSource = "src/services/smartsfp/SrvSmartSfp.cpp";
  static constexpr const char* instanceFunction = "static SrvSmartSfp& SrvSmartSfp::getInstance()";

  void register_interface(OBcomponent* component) override;

  void setSmartSfpParams(OBstubReply* reply, uint32_t enableFilter, uint32_t action, uint32_t sendOutPDU,
                         uint32_t pbmp, uint32_t size, std::string pdu) override;
  using OBsetSmartSfpParams_1_0_SI::setSmartSfpParams;

  /// Main thread. The forwarding-entry id of the Smart SFP filter; 0 = no filter installed.
  void setFpId(int32_t id);
  int32_t fpId() const { return m_fpId; }

  /// Answers a call: its arguments go back, with these ports and this PDU. Releases `reply` without a stub.
  /// Any thread.
  void giveReply(ReplyOwner reply, const SavedArguments& saved, uint32_t pbmp, std::string pdu);

  /// Null until the interface is registered.
  OBsetSmartSfpParams_1_0_S* stub() const { return m_pStub; }

 private:
  friend class Singleton<SrvSmartSfp>;
  SrvSmartSfp() = default;
  ~SrvSmartSfp() override;

  OBsetSmartSfpParams_1_0_S* m_pStub = nullptr;
  Relaxed<int32_t> m_fpId;
};

/// The messages of a request, in their order: rule, PDU.
using SmartSfpBatch = MessageBatch<2>;
/// Adds them to an empty batch.
void buildSmartSfpMessages(const SmartSfpArguments& arguments, SmartSfpBatch& batch);

/// Worker; owns the request.
void run_iss_SmartSfp_thread(SmartSfpRequest* request);
