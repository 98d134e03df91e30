#include "services/SrvSyncE.h"

#include <cstring>

#include "Guard.h"
#include "trace.h"

#define LOG_HERE(LEVEL, line, format, ...) \
  TRACE(LEVEL, "SrvSyncE", line, "run_iss_syncE_thread", format __VA_OPT__(, ) __VA_ARGS__)

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
  TRACE(DEBUG2, "SrvSyncE", 202, "setSyncEParam",
        "setSyncEParam: enableFilter=%d,enableClk=%d,slot=%d,clksrc=%d,phymode=%d\n",
        static_cast<int>(enableFilter), static_cast<int>(enableClk), static_cast<int>(slot),
        static_cast<int>(clksrc), static_cast<int>(phymode));
  TRACE(DEBUG3, "SrvSyncE", 204, "setSyncEParam", "SetSyncEParam message received over OTNBus\n");
  std::unique_ptr<SyncERequest> request(new SyncERequest{
      this, ReplyOwner(reply),
      SyncEArguments{enableFilter, slot, enableClk, clksrc, phymode, sendPdu, pduWord1, pduWord2, pduWord3}});
  if (const int error = startWorker<run_iss_syncE_thread>(std::move(request)); error != 0)
    TRACE(ERROR, "SrvSyncE", 227, "setSyncEParam", "Failed to create thread: %s", strerror(error));
}

namespace {

void replyUnchanged(SyncERequest& request) {
  if (request.service->stub() == nullptr) return;
  const SyncEArguments& a = request.arguments;
  request.service->stub()->setSyncEParam_reply(request.reply.take(), a.enableFilter, a.slot, a.enableClk,
                                               a.clksrc, a.phymode, a.sendPdu, a.pduWord1, a.pduWord2,
                                               a.pduWord3);
}

void fillSlot(MsgArrayEntry& slot, const SyncERequest& request) {
  slot.syncEService = request.service;
  const SyncEArguments& arguments = request.arguments;
  SavedArguments& saved = slot.arguments;
  saved.enableFilter = arguments.enableFilter;
  saved.slot = arguments.slot;
  saved.enableClk = arguments.enableClk;
  saved.clksrc = arguments.clksrc;
  saved.phymode = arguments.phymode;
  saved.sendPdu = arguments.sendPdu;
  saved.pduWord1 = arguments.pduWord1;
  saved.pduWord2 = arguments.pduWord2;
  saved.pduWord3 = arguments.pduWord3;
}

constexpr OverflowLine overflow{"SrvSyncE", "run_iss_syncE_thread", 118, 131};

}  // namespace

void buildSyncEMessages(const SyncEArguments& arguments, SyncEBatch& batch) {
  constexpr uint32_t installFilter = 2;
  batch.count = 0;
  if (arguments.enableFilter == installFilter) {
    LOG_HERE(INFO, 39, "creating enable filter message");
    batch.messages[batch.count++] = esmcTrapRule();
  }
  if (arguments.enableClk != 0) batch.messages[batch.count++] = syncECommand(arguments);
  if (arguments.sendPdu != 0) batch.messages[batch.count++] = syncEPdu(arguments);
}

void run_iss_syncE_thread(SyncERequest* argument) {
  const std::unique_ptr<SyncERequest> request(argument);
  {
    const Guard guard(&mutex);
    const SyncEArguments& arguments = request->arguments;
    LOG_HERE(DEBUG2, 31, "Processing SetSyncEParam message");
    LOG_HERE(DEBUG2, 33, "enableFilter=%d,enableClk=%d,slot=%d,clksrc=%d,phymode=%d\n",
             static_cast<int>(arguments.enableFilter), static_cast<int>(arguments.enableClk),
             static_cast<int>(arguments.slot), static_cast<int>(arguments.clksrc),
             static_cast<int>(arguments.phymode));
    SyncEBatch batch{};
    buildSyncEMessages(arguments, batch);
    LOG_HERE(DEBUG3, 111, "mutex lock");
    if (!admitBatch(batch.count, overflow)) {
      replyUnchanged(*request);
      return;
    }
    LOG_HERE(DEBUG3, 140, "SetPortParam split up in %d messages to OPS\n", batch.count);
    queueBatch(
        {batch.messages, static_cast<size_t>(batch.count)}, MsgSource::SyncE, request->reply,
        [](int index) { LOG_HERE(DEBUG3, 145, "message writepoiter %d\n", index); },
        [&request](MsgArrayEntry& slot) { fillSlot(slot, *request); });
    LOG_HERE(DEBUG3, 166, "send signal for sending message");
    pthread_cond_signal(&cond);
    LOG_HERE(DEBUG3, 168, "mutex unlock");
  }
  LOG_HERE(DEBUG2, 174, "stopped");
}
