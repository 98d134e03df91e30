#include "services/SrvRedundancy.h"

#include <cstring>

#include "Guard.h"
#include "trace.h"

namespace {

constexpr const char* worker = "run_iss_redundancy_thread";
constexpr const char* workerSource = "SrvRedundancy.cpp";

void traceQuery() {
  TRACE(INFO, "SrvRedundancy", __LINE__, "register_interface",
        "ask current status to redundancy mgr because we never obtained updates before we started");
}

}  // namespace

RedundancyStatusQuery::RedundancyStatusQuery(OBredundantInfo_1_0_S& stub) {
  if (!stub.query_getRedundantState(state)) state = RedundancyStateUnknown;
}

SrvRedundancy::~SrvRedundancy() {
  delete m_pStub;
}

void SrvRedundancy::register_interface(OBcomponent* component) {
  m_pStub = new OBredundantInfo_1_0_S(this, component);
  m_redundancyState = RedundancyStateUnknown;
  if (!m_pStub->register_signal("redundant_state_signal", [this] { askLate(); })) return;
  traceQuery();
  apply(RedundancyStatusQuery(*m_pStub).state);
}

void SrvRedundancy::askLate() {
  traceQuery();
  m_pStub->query_getRedundantState([this](const int32_t* state) {
    if (state != nullptr) apply(*state);
  });
}

void SrvRedundancy::apply(int32_t queried) {
  m_redundancyState = queried;
  if (queried <= RedundancyStateLast) setRedundantState(queried);
}

void SrvRedundancy::setRedundantState(int32_t state) {
  TRACE(INFO, "SrvRedundancy", __LINE__, "setRedundantState", "setRedundantState: redundancyState=%s\n",
        redundancyStateName(state));
  std::unique_ptr<RedundancyRequest> request(new RedundancyRequest{this, ReplyOwner(nullptr), state});
  m_redundancyState = state;
  if (const int error = startWorker<run_iss_redundancy_thread>(std::move(request)); error != 0)
    TRACE(ERROR, "SrvRedundancy", __LINE__, "setRedundantState", "Failed to create thread: %s",
          strerror(error));
}

OtnIpcMsg redundancyMessage(int32_t state) {
  OtnIpcMsg msg{};
  msg.msgType = REDUNDANCY_STATE;
  msg.payload.redundancy.state = state;
  return msg;
}

void run_iss_redundancy_thread(RedundancyRequest* argument) {
  const std::unique_ptr<RedundancyRequest> request(argument);
  {
    const Guard guard(&mutex);
    TRACE(DEBUG2, workerSource, __LINE__, worker, "Processing setRedundantState with state = %s\n",
          redundancyStateName(request->state));
    const OtnIpcMsg msg = redundancyMessage(request->state);
    TRACE(DEBUG3, workerSource, __LINE__, worker, "mutex lock");
    if (!admitBatch(1, {workerSource, worker, __LINE__, __LINE__})) return;
    queueBatch(
        {&msg, 1}, MsgSource::Redundancy, request->reply,
        [](int index) { TRACE(DEBUG3, workerSource, __LINE__, worker, "message writepoiter %d\n", index); },
        [&request](MsgArrayEntry& slot) {
          slot.redundancyService = request->service;
          slot.redundancyState = request->state;
        });
    TRACE(DEBUG3, workerSource, __LINE__, worker, "send signal for sending message");
    pthread_cond_signal(&cond);
    TRACE(DEBUG3, workerSource, __LINE__, worker, "mutex unlock");
  }
  TRACE(DEBUG2, workerSource, __LINE__, worker, "run_iss_redundancy_thread stopped");
}
