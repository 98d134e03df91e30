// The ISS life cycle: starts and stops ISS when the node's OCH component says so, and answers once ISS has
// created or removed its marker file.
//
// Heap object of the bus thread. A trigger blocks the bus thread until it is over; the worker is joined.
// Log lines carry the source SrvIss.
#pragma once

#include "OBOchTriggerTrelvik_1_0_S.h"
#include "OBOchTriggerTrelvik_1_0_SI.h"

enum class DataUserState : int32_t { INITIALIZED = 0, STARTED = 1, STOPPED = 2 };
/// "INVALID" for any other value.
const char* dataUserStateName(int32_t state);

struct OchTriggerRequest {
  int32_t state;  ///< DataUserState, any value
  OBstubReply* reply;
  OBOchTriggerTrelvik_1_0_S* stub;
};
static_assert(sizeof(void*) != 4 || sizeof(OchTriggerRequest) == 12);

class OBOchStub : public OBOchTriggerTrelvik_1_0_SI {
 public:
  /// Adds itself to the component.
  explicit OBOchStub(OBcomponent* component);
  ~OBOchStub() override;

  void register_interface(OBcomponent* component) override;

  void triggerDataUser(OBstubReply* reply, int32_t state, bool flag) override;
  using OBOchTriggerTrelvik_1_0_SI::triggerDataUser;

 private:
  OBOchTriggerTrelvik_1_0_S* m_pStub = nullptr;
};

/// Thread function; the argument is an OchTriggerRequest, which stays the caller's. Returns null. A stop of
/// the process ends the wait without a reply.
void* run_och_thread(void* request);
