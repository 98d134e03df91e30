// The node's redundancy state: receives the redundancy manager's signal and forwards each state to ISS.
//
// Object of the bus thread; signals are never answered. The worker shows `SrvRedundancy.cpp` as its source.
#pragma once

#include "OBredundantInfo_1_0_S.h"
#include "OBredundantInfo_1_0_SI.h"
#include "OtnIpcMsg.h"
#include "RedundancyState.h"
#include "services/pattern/ServicePattern.h"

class SrvRedundancy;

struct RedundancyRequest {
  static constexpr BusInterface busInterface = BusInterface::Redundancy;
  SrvRedundancy* service;
  ReplyOwner reply;  ///< always empty: a signal has no reply
  int32_t state;
};
static_assert(sizeof(void*) != 4 || sizeof(RedundancyRequest) == 12);

/// What the redundancy manager said when asked; unknown without an answer.
struct RedundancyStatusQuery {
  /// Asks over the bus and waits at most 1 s.
  explicit RedundancyStatusQuery(OBredundantInfo_1_0_S& stub);

  int32_t state = RedundancyStateUnknown;
};

class SrvRedundancy : public OBredundantInfo_1_0_SI {
 public:
  SrvRedundancy() = default;
  ~SrvRedundancy() override;

  void register_interface(OBcomponent* component) override;

  void setRedundantState(int32_t state) override;
  using OBredundantInfo_1_0_SI::setRedundantState;

  /// The last state applied; bus thread.
  int32_t redundancyState() const { return m_redundancyState; }

 private:
  /// When the bus has refused the signal at first and sends it now. Does not wait for the answer.
  void askLate();
  void apply(int32_t queried);

  OBredundantInfo_1_0_S* m_pStub = nullptr;
  int32_t m_redundancyState = 0;
};

OtnIpcMsg redundancyMessage(int32_t state);

/// Worker; owns the request.
void run_iss_redundancy_thread(RedundancyRequest* request);
