#include "services/synce/SrvSyncE.h"

#include <cstring>

#include "TraceObject.h"

namespace {

constexpr LogPlace atSetSyncEParam{"SrvSyncE", "setSyncEParam"};
constexpr LogPlace worker{"SrvSyncE", "run_iss_syncE_thread"};

}  // namespace

SrvSyncE::~SrvSyncE() {
  delete m_pStub;
}

void SrvSyncE::register_interface(OBcomponent* component) {
  m_pStub = new OBsetSyncEParams_1_0_S(this, component);
  m_pStub->register_asynchronous("IssSetSyncEAsync");
}

void SrvSyncE::setSyncEParam(OBstubReply* reply, uint32_t enableFilter, uint32_t slot, uint32_t enableClk,
                             uint32_t clksrc, uint32_t phymode, uint32_t sendPdu, uint32_t pduWord1,
                             uint32_t pduWord2, uint32_t pduWord3) {
  LOG(DEBUG2, atSetSyncEParam, 202,
      "setSyncEParam: enableFilter=%d,enableClk=%d,slot=%d,clksrc=%d,phymode=%d\n",
      static_cast<int>(enableFilter), static_cast<int>(enableClk), static_cast<int>(slot),
      static_cast<int>(clksrc), static_cast<int>(phymode));
  LOG(DEBUG3, atSetSyncEParam, 204, "SetSyncEParam message received over OTNBus\n");
  SyncERequest request{
      this, ReplyOwner(reply),
      SyncEArguments{enableFilter, slot, enableClk, clksrc, phymode, sendPdu, pduWord1, pduWord2, pduWord3}};
  if (const int error = startWorker<run_iss_syncE_thread>(std::move(request)); error != 0)
    LOG(ERROR, atSetSyncEParam, 227, "Failed to create thread: %s", strerror(error));
}

void SrvSyncE::giveReply(ReplyOwner reply, const SavedArguments& saved) {
  if (m_pStub == nullptr) return;
  m_pStub->setSyncEParam_reply(reply.takeToAnswer(SyncERequest::busInterface), saved.enableFilter, saved.slot,
                               saved.enableClk, saved.clksrc, saved.phymode, saved.sendPdu, saved.pduWord1,
                               saved.pduWord2, saved.pduWord3);
}

namespace {

SavedArguments save(const SyncEArguments& arguments) {
  SavedArguments saved{};
  saved.enableFilter = arguments.enableFilter;
  saved.slot = arguments.slot;
  saved.enableClk = arguments.enableClk;
  saved.clksrc = arguments.clksrc;
  saved.phymode = arguments.phymode;
  saved.sendPdu = arguments.sendPdu;
  saved.pduWord1 = arguments.pduWord1;
  saved.pduWord2 = arguments.pduWord2;
  saved.pduWord3 = arguments.pduWord3;
  return saved;
}

constexpr TailLines tail{worker, 118, 131, 166, 168};

struct Texts {
  static void locked() { LOG(DEBUG3, worker, 111, "mutex lock"); }
  static void split(int count) {
    LOG(DEBUG3, worker, 140, "SetPortParam split up in %d messages to OPS\n", count);
  }
  static void slot(int index) { LOG(DEBUG3, worker, 145, "message writepoiter %d\n", index); }
};

/// False when the request is refused: its caller is answered at once.
bool queue(SyncERequest& request) REQUIRES(mutex) {
  const SyncEArguments& arguments = request.arguments;
  LOG(DEBUG2, worker, 31, "Processing SetSyncEParam message");
  LOG(DEBUG2, worker, 33, "enableFilter=%d,enableClk=%d,slot=%d,clksrc=%d,phymode=%d\n",
      static_cast<int>(arguments.enableFilter), static_cast<int>(arguments.enableClk),
      static_cast<int>(arguments.slot), static_cast<int>(arguments.clksrc),
      static_cast<int>(arguments.phymode));
  SyncEBatch batch;
  buildSyncEMessages(arguments, batch);
  const auto fill = [&request](MsgArrayEntry& slot) noexcept {
    slot.syncEService = request.service;
    slot.arguments = save(request.arguments);
  };
  if (queueBatch(tail, Texts(), batch, MsgSource::SyncE, request.reply, fill)) return true;
  request.service->giveReply(std::move(request.reply), save(arguments));
  return false;
}

}  // namespace

void buildSyncEMessages(const SyncEArguments& arguments, SyncEBatch& batch) {
  constexpr uint32_t installFilter = 2;
  if (arguments.enableFilter == installFilter) {
    LOG(INFO, worker, 39, "creating enable filter message");
    batch.add(esmcTrapRule);
  }
  if (arguments.enableClk != 0) batch.add([&arguments] { return syncECommand(arguments); });
  if (arguments.sendPdu != 0) batch.add([&arguments] { return syncEPdu(arguments); });
}

void run_iss_syncE_thread(SyncERequest* argument) {
  const std::unique_ptr<SyncERequest> request(argument);
  if (withRing(queue, *request)) LOG(DEBUG2, worker, 174, "stopped");
}
