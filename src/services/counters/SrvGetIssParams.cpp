#include "services/counters/SrvGetIssParams.h"

#include <cstring>

#include "Guard.h"
#include "TraceObject.h"

namespace {

constexpr LogPlace atHandler{"SrvGetIssParams", "getInterfaceReceptionAndTransmissionCounters"};
constexpr LogPlace worker{"SrvGetIssParams", "run_iss_get_data_thread"};

}  // namespace

SrvGetIssParams::~SrvGetIssParams() {
  delete m_pStub;
}

void SrvGetIssParams::register_interface(OBcomponent* component) {
  m_pStub = new OBgetIssParams_1_0_S(this, component);
  m_pStub->register_asynchronous("IssGetParams");
}

void SrvGetIssParams::handleGetCounters(OBstubReply* reply, uint32_t interfaceNum, uint32_t& rxOctets,
                                        uint32_t& rxUnicastPackets, uint32_t& rxDiscarded, uint32_t& rxErrors,
                                        uint32_t& rxUnknownProtocol, uint32_t& txOctets,
                                        uint32_t& txUnicastPackets, uint32_t& txDiscarded,
                                        uint32_t& txErrors) {
  LOG(DEBUG3, atHandler, 157, "getIssParam message received over OTNBus\n");
  CountersRequest request{
      this, ReplyOwner(reply), CountersRequest::readCounters,
      ops::Counters{interfaceNum, rxOctets, rxUnicastPackets, rxDiscarded, rxErrors, rxUnknownProtocol,
                    txOctets, txUnicastPackets, txDiscarded, txErrors}};
  if (const int error = startWorker<run_iss_get_data_thread>(std::move(request)); error != 0)
    LOG(ERROR, atHandler, 184, "Failed to create thread: %s", strerror(error));
}

void SrvGetIssParams::giveReply(ReplyOwner reply, ops::Counters& counters) {
  if (m_pStub == nullptr) return;
  m_pStub->getInterfaceReceptionAndTransmissionCounters_reply(
      reply.take(), counters.interfaceNum, counters.rxOctets, counters.rxUnicastPackets, counters.rxDiscarded,
      counters.rxErrors, counters.rxUnknownProtocol, counters.txOctets, counters.txUnicastPackets,
      counters.txDiscarded, counters.txErrors);
}

OtnIpcMsg countersMessage(const ops::Counters& counters) {
  OtnIpcMsg msg{};
  msg.msgType = GET_INTERFACE_RECEPTION_AND_TRANSMISSION_COUNTERS;
  msg.payload.counters = counters;
  return msg;
}

namespace {

constexpr OverflowLine overflow{worker, 81, 94};

/// False when the request is refused: its caller is answered at once.
bool queueRequest(CountersRequest& request) REQUIRES(mutex) {
  if (request.action != CountersRequest::readCounters) {
    LOG(WARNING, worker, 63, "Unknown action request in message");
    return false;
  }
  const OtnIpcMsg msg = countersMessage(request.counters);
  LOG(DEBUG3, worker, 74, "mutex lock\n");
  if (!admitBatch(1, overflow)) return false;
  LOG(DEBUG3, worker, 103, "getInterfaceReceptionAndTransmissionCounters split up in %d messages to OPS\n",
      1);
  queueBatch(
      {&msg, 1}, MsgSource::PortParams, request.reply,
      [](int index) { LOG(DEBUG3, worker, 108, "message writepoiter %d\n", index); },
      [&request](MsgArrayEntry& slot) { slot.countersService = request.service; });
  LOG(DEBUG3, worker, 119, "send signal for sending message");
  wakeSender();
  LOG(DEBUG3, worker, 121, "mutex unlock");
  return true;
}

}  // namespace

void run_iss_get_data_thread(CountersRequest* argument) {
  const std::unique_ptr<CountersRequest> request(argument);
  {
    const Guard guard(&mutex);
    LOG(DEBUG3, worker, 39, "Processing getparams message!");
    if (!queueRequest(*request)) {
      request->service->giveReply(std::move(request->reply), request->counters);
      return;
    }
  }
  LOG(DEBUG2, worker, 127, "stopped");
}
