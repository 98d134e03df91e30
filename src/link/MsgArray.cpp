#include "link/MsgArray.h"

MsgArrayEntry MsgArray[MsgArraySize];
Relaxed<int32_t> readpointer;
Relaxed<int32_t> writepointer;
Relaxed<int32_t> IssProcessing;
Relaxed<int32_t> issReady;
bool answerOutstanding;
std::chrono::steady_clock::time_point answerSentAt;
Mutex mutex;
pthread_cond_t cond = PTHREAD_COND_INITIALIZER;
pthread_cond_t cond2 = PTHREAD_COND_INITIALIZER;

void resetRing() {
  readpointer = 0;
  writepointer = 0;
  IssProcessing = 0;
  issReady = 0;
  answerOutstanding = false;
  answerSentAt = {};
}

MsgArrayEntry& copyToSlot(const OtnIpcMsg& message) {
  MsgArrayEntry& slot = MsgArray[writepointer];
  slot.msg = message;
  slot.portParamsService = nullptr;
  slot.syncEService = nullptr;
  slot.issMgrService = nullptr;
  slot.countersService = nullptr;
  slot.smartSfpService = nullptr;
  slot.redundancyService = nullptr;
  slot.reply = nullptr;
  return slot;
}

void advanceWritePointer() {
  writepointer = nextIndex(writepointer);
}

void consumeSlot() {
  MsgArrayEntry& slot = MsgArray[readpointer];
  slot.source = MsgSource::None;
  // An assignment or clear() would keep the largest text that the slot has ever held.
  std::string().swap(slot.arguments.dataVfis);
  readpointer = nextIndex(readpointer);
  answerOutstanding = false;
}
