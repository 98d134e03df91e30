#include "services/redundancy/SrvRedundancy.h"

#include <cstring>

#include "TraceObject.h"

namespace {

constexpr LogPlace atRegisterInterface{"SrvRedundancy", "register_interface"};
constexpr LogPlace atSetRedundantState{"SrvRedundancy", "setRedundantState"};
constexpr LogPlace worker{"SrvRedundancy.cpp", "run_iss_redundancy_thread"};

void traceQuery() {
  LOG(INFO, atRegisterInterface, HERE,
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
  LOG(INFO, atSetRedundantState, HERE, "setRedundantState: redundancyState=%s\n", redundancyStateName(state));
  RedundancyRequest request{this, ReplyOwner(nullptr), state};
  m_redundancyState = state;
  if (const int error = startWorker<run_iss_redundancy_thread>(std::move(request)); error != 0)
    LOG(ERROR, atSetRedundantState, HERE, "Failed to create thread: %s", strerror(error));
}

OtnIpcMsg redundancyMessage(int32_t state) {
  OtnIpcMsg msg{};
  msg.msgType = REDUNDANCY_STATE;
  msg.payload.redundancy.state = state;
  return msg;
}

namespace {

constexpr TailLines tail{
    .place = worker,
    .behindReader = HERE,
    .aheadOfReader = HERE,
    .signal = HERE,
    .unlock = HERE,
};

struct Texts {
  static void locked() { LOG(DEBUG3, worker, HERE, "mutex lock"); }
  static void slot(int index) { LOG(DEBUG3, worker, HERE, "message writepoiter %d\n", index); }
};

bool queue(RedundancyRequest& request) REQUIRES(mutex) {
  LOG(DEBUG2, worker, HERE, "Processing setRedundantState with state = %s\n",
      redundancyStateName(request.state));
  MessageBatch<1> batch;
  batch.add([&request] { return redundancyMessage(request.state); });
  return queueBatch(tail, Texts(), batch, MsgSource::Redundancy, request.reply,
                    [&request](MsgArrayEntry& slot) noexcept {
                      slot.redundancyService = request.service;
                      slot.redundancyState = request.state;
                    });
}

}  // namespace

void run_iss_redundancy_thread(RedundancyRequest* argument) {
  const std::unique_ptr<RedundancyRequest> request(argument);
  if (withRing(queue, *request)) LOG(DEBUG2, worker, HERE, "run_iss_redundancy_thread stopped");
}
