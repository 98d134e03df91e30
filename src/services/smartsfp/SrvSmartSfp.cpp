#include "services/smartsfp/SrvSmartSfp.h"

#include <cstring>

#include "TraceObject.h"
#include "services/smartsfp/SmartSfpMessages.h"

namespace {

constexpr LogPlace atSetFpId{"SrvSmartSfp", "setFpId"};
constexpr LogPlace atSetSmartSfpParams{"SrvSmartSfp", "setSmartSfpParams"};

}  // namespace

SrvSmartSfp::~SrvSmartSfp() {
  delete m_pStub;
}

void SrvSmartSfp::register_interface(OBcomponent* component) {
  m_pStub = new OBsetSmartSfpParams_1_0_S(this, component);
  m_pStub->register_asynchronous("IssSetSmartSfpAsync");
}

void SrvSmartSfp::setFpId(int32_t id) {
  m_fpId = id;
  LOG(INFO, atSetFpId, HERE, "smartSfp ID = %d", id);
}

void SrvSmartSfp::setSmartSfpParams(OBstubReply* reply, uint32_t enableFilter, uint32_t action,
                                    uint32_t sendOutPDU, uint32_t pbmp, uint32_t size, std::string pdu) {
  LOG(DEBUG2, atSetSmartSfpParams, HERE,
      "setSmartSfpParams: enableFilter=%d, action=%d, sendOutPDU=%d,                   pbmp=%d, size=%d",
      static_cast<int>(enableFilter), static_cast<int>(action), static_cast<int>(sendOutPDU),
      static_cast<int>(pbmp), static_cast<int>(size));
  SmartSfpRequest request{
      this, ReplyOwner(reply),
      SmartSfpArguments{std::move(pdu), enableFilter, action, sendOutPDU, pbmp, size, fpId()}};
  if (const int error = startWorker<run_iss_SmartSfp_thread>(std::move(request)); error != 0)
    LOG(ERROR, atSetSmartSfpParams, HERE, "Failed to create thread: %s", strerror(error));
}

void SrvSmartSfp::giveReply(ReplyOwner reply, const SavedArguments& saved, uint32_t pbmp, std::string pdu) {
  if (m_pStub == nullptr) return;
  m_pStub->setSmartSfpParams_reply(reply.takeToAnswer(SmartSfpRequest::busInterface), saved.enableFilter,
                                   saved.action, saved.sendOutPDU, pbmp, saved.size, std::move(pdu));
}

namespace {

SavedArguments save(const SmartSfpArguments& arguments) {
  SavedArguments saved{};
  saved.enableFilter = arguments.enableFilter;
  saved.action = arguments.action;
  saved.sendOutPDU = arguments.sendOutPDU;
  saved.pbmp = arguments.pbmp;
  saved.size = arguments.size;
  return saved;
}

constexpr TailLines tail{
    .place = smartSfpWorker,
    .behindReader = HERE,
    .aheadOfReader = HERE,
    .signal = HERE,
    .unlock = HERE,
};

struct Texts {
  static void locked() { LOG(DEBUG3, smartSfpWorker, HERE, "mutex lock"); }
  static void slot(int index) { LOG(DEBUG3, smartSfpWorker, HERE, "message writepoiter %d", index); }
};

/// False when the request is refused: its caller is answered at once.
bool queue(SmartSfpRequest& request) REQUIRES(mutex) {
  SmartSfpArguments& arguments = request.arguments;
  LOG(DEBUG2, smartSfpWorker, HERE,
      "stub-process-thread: enableFilter=%d, action=%d, sendOutPDU=%d,                   L2Pbmp=%d, size=%d",
      static_cast<int>(arguments.enableFilter), static_cast<int>(arguments.action),
      static_cast<int>(arguments.sendOutPDU), static_cast<int>(arguments.pbmp),
      static_cast<int>(arguments.size));
  SmartSfpBatch batch;
  buildSmartSfpMessages(arguments, batch);
  const auto fill = [&request](MsgArrayEntry& slot) noexcept {
    slot.smartSfpService = request.service;
    slot.arguments = save(request.arguments);
  };
  if (queueBatch(tail, Texts(), batch, MsgSource::SmartSfp, request.reply, fill)) return true;
  request.service->giveReply(std::move(request.reply), save(arguments), arguments.pbmp,
                             std::move(arguments.pdu));
  return false;
}

}  // namespace

void buildSmartSfpMessages(const SmartSfpArguments& arguments, SmartSfpBatch& batch) {
  if (arguments.enableFilter != 0) batch.add([&arguments] { return smartSfpRule(arguments); });
  if (arguments.sendOutPDU != 0) batch.add([&arguments] { return smartSfpPdu(arguments); });
}

void run_iss_SmartSfp_thread(SmartSfpRequest* argument) {
  const std::unique_ptr<SmartSfpRequest> request(argument);
  withRing(queue, *request);
}
