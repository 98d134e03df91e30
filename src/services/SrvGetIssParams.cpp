#include "services/SrvGetIssParams.h"

#include <cstring>

#include "Guard.h"
#include "trace.h"

#define LOG_HERE(LEVEL, line, format, ...) \
  TRACE(LEVEL, "SrvGetIssParams", line, "run_iss_get_data_thread", format __VA_OPT__(, ) __VA_ARGS__)

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
  constexpr const char* function = "getInterfaceReceptionAndTransmissionCounters";
  TRACE(DEBUG3, "SrvGetIssParams", 157, function, "getIssParam message received over OTNBus\n");
  std::unique_ptr<CountersRequest> request(new CountersRequest{
      this, ReplyOwner(reply), CountersRequest::readCounters,
      ops::Counters{interfaceNum, rxOctets, rxUnicastPackets, rxDiscarded, rxErrors, rxUnknownProtocol,
                    txOctets, txUnicastPackets, txDiscarded, txErrors}});
  if (const int error = startWorker<run_iss_get_data_thread>(std::move(request)); error != 0)
    TRACE(ERROR, "SrvGetIssParams", 184, function, "Failed to create thread: %s", strerror(error));
}

OtnIpcMsg countersMessage(const ops::Counters& counters) {
  OtnIpcMsg msg{};
  msg.msgType = GET_INTERFACE_RECEPTION_AND_TRANSMISSION_COUNTERS;
  msg.payload.counters = counters;
  return msg;
}

namespace {

constexpr OverflowLine overflow{"SrvGetIssParams", "run_iss_get_data_thread", 81, 94};

void replyUnchanged(CountersRequest& request) {
  if (request.service->stub() == nullptr) return;
  ops::Counters& c = request.counters;
  request.service->stub()->getInterfaceReceptionAndTransmissionCounters_reply(
      request.reply.take(), c.interfaceNum, c.rxOctets, c.rxUnicastPackets, c.rxDiscarded, c.rxErrors,
      c.rxUnknownProtocol, c.txOctets, c.txUnicastPackets, c.txDiscarded, c.txErrors);
}

/// False when the request is refused: its caller is answered at once.
bool queueRequest(CountersRequest& request) {
  if (request.action != CountersRequest::readCounters) {
    LOG_HERE(WARNING, 63, "Unknown action request in message");
    return false;
  }
  const OtnIpcMsg msg = countersMessage(request.counters);
  LOG_HERE(DEBUG3, 74, "mutex lock\n");
  if (!admitBatch(1, overflow)) return false;
  LOG_HERE(DEBUG3, 103, "getInterfaceReceptionAndTransmissionCounters split up in %d messages to OPS\n", 1);
  queueBatch(
      {&msg, 1}, MsgSource::PortParams, request.reply,
      [](int index) { LOG_HERE(DEBUG3, 108, "message writepoiter %d\n", index); },
      [&request](MsgArrayEntry& slot) { slot.countersService = request.service; });
  LOG_HERE(DEBUG3, 119, "send signal for sending message");
  pthread_cond_signal(&cond);
  LOG_HERE(DEBUG3, 121, "mutex unlock");
  return true;
}

}  // namespace

void run_iss_get_data_thread(CountersRequest* argument) {
  const std::unique_ptr<CountersRequest> request(argument);
  {
    const Guard guard(&mutex);
    LOG_HERE(DEBUG3, 39, "Processing getparams message!");
    if (!queueRequest(*request)) {
      replyUnchanged(*request);
      return;
    }
  }
  LOG_HERE(DEBUG2, 127, "stopped");
}
