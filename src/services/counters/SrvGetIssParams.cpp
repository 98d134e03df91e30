#include "services/counters/SrvGetIssParams.h"

#include <cstring>

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

constexpr TailLines tail{worker, 81, 94, 119, 121};

struct Texts {
  static void locked() { LOG(DEBUG3, worker, 74, "mutex lock\n"); }
  static void split(int count) {
    LOG(DEBUG3, worker, 103, "getInterfaceReceptionAndTransmissionCounters split up in %d messages to OPS\n",
        count);
  }
  static void slot(int index) { LOG(DEBUG3, worker, 108, "message writepoiter %d\n", index); }
};

bool queueCounters(CountersRequest& request) REQUIRES(mutex) {
  if (request.action != CountersRequest::readCounters) {
    LOG(WARNING, worker, 63, "Unknown action request in message");
    return false;
  }
  MessageBatch<1> batch;
  batch.add([&request] { return countersMessage(request.counters); });
  return queueBatch(tail, Texts(), batch, MsgSource::PortParams, request.reply,
                    [&request](MsgArrayEntry& slot) noexcept { slot.countersService = request.service; });
}

/// False when the request is refused: its caller is answered at once.
bool queue(CountersRequest& request) REQUIRES(mutex) {
  LOG(DEBUG3, worker, 39, "Processing getparams message!");
  if (queueCounters(request)) return true;
  request.service->giveReply(std::move(request.reply), request.counters);
  return false;
}

}  // namespace

void run_iss_get_data_thread(CountersRequest* argument) {
  const std::unique_ptr<CountersRequest> request(argument);
  if (withRing(queue, *request)) LOG(DEBUG2, worker, 127, "stopped");
}
