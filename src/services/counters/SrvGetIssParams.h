// Interface counters. Built and complete, but not attached to the bus component: no answer from OPS has a
// route to getInterfaceReceptionAndTransmissionCounters_reply, because its slots carry the source of the port
// parameters service. The router logs such an answer and consumes the slot.
#pragma once

#include <cstdint>

#include "OBgetIssParams_1_0_S.h"
#include "OBgetIssParams_1_0_SI.h"
#include "OtnIpcMsg.h"
#include "services/pattern/ServicePattern.h"

class SrvGetIssParams;

struct CountersRequest {
  static constexpr uint32_t readCounters = 1;

  SrvGetIssParams* service;
  ReplyOwner reply;
  uint32_t action;  ///< readCounters; anything else is refused
  ops::Counters counters;
};
static_assert(sizeof(void*) != 4 || sizeof(CountersRequest) == 52);

class SrvGetIssParams : public OBgetIssParams_1_0_SI {
 public:
  SrvGetIssParams() = default;
  ~SrvGetIssParams() override;

  void register_interface(OBcomponent* component) override;

  using OBgetIssParams_1_0_SI::getInterfaceReceptionAndTransmissionCounters;
  /// Bus thread. An operation of the service's own: both generated forms keep their defaults.
  virtual void handleGetCounters(OBstubReply* reply, uint32_t interfaceNum, uint32_t& rxOctets,
                                 uint32_t& rxUnicastPackets, uint32_t& rxDiscarded, uint32_t& rxErrors,
                                 uint32_t& rxUnknownProtocol, uint32_t& txOctets, uint32_t& txUnicastPackets,
                                 uint32_t& txDiscarded, uint32_t& txErrors);

  /// Answers a call: its values go back as they are. Releases `reply` without a stub. Any thread.
  void giveReply(ReplyOwner reply, ops::Counters& counters);

  /// Null until the interface is registered.
  OBgetIssParams_1_0_S* stub() const { return m_pStub; }

 private:
  OBgetIssParams_1_0_S* m_pStub = nullptr;
};

OtnIpcMsg countersMessage(const ops::Counters& counters);

/// Worker; owns the request.
void run_iss_get_data_thread(CountersRequest* request);
