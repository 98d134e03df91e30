#include "link/MsgArray.h"

#include <utility>

#include "link/Traffic.h"
#include "message/MsgHandle.h"
#include "process/probe.h"

namespace ring {

MsgArrayEntry MsgArray[MsgArraySize];
Relaxed<int32_t> readpointer;
Relaxed<int32_t> writepointer;
Relaxed<int32_t> IssProcessing;
Relaxed<int32_t> issReady;
bool answerOutstanding;
std::chrono::steady_clock::time_point answerSentAt;
RingMutex mutex;
pthread_cond_t cond = PTHREAD_COND_INITIALIZER;
pthread_cond_t cond2 = PTHREAD_COND_INITIALIZER;

}  // namespace ring

void RingMutex::unlock() {
  const bool sender = std::exchange(m_wakeSender, false);
  const bool answered = std::exchange(m_answerRouted, false);
  Mutex::unlock();
  if (sender) pthread_cond_signal(&cond);
  if (answered) pthread_cond_signal(&cond2);
}

void wakeSender() {
  mutex.m_wakeSender = true;
}

void answerRouted() {
  mutex.m_answerRouted = true;
}

void wakeSenderToStop() {
  pthread_cond_signal(&cond);
  pthread_cond_signal(&cond2);
}

void resetRing() {
  const Guard guard(&mutex);
  readpointer = 0;
  writepointer = 0;
  IssProcessing = 0;
  issReady = 0;
  answerOutstanding = false;
  answerSentAt = {};
  outstanding.ends();
}

MsgArrayEntry& copyToSlot(const OtnIpcMsg& message) {
  MsgArrayEntry& slot = MsgArray[writepointer];
  CopyPacket(slot.msg, reinterpret_cast<const uint8_t*>(&message));
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
  const MsgArrayEntry& slot = MsgArray[writepointer];
  PROBE(message_queued, static_cast<int>(writepointer), slot.msg.msgType, static_cast<int>(slot.source));
  writepointer = nextIndex(writepointer);
}

void consumeSlot() {
  MsgArrayEntry& slot = MsgArray[readpointer];
  slot.source = MsgSource::None;
  // An assignment or clear() would keep the largest text that the slot has ever held.
  std::string().swap(slot.arguments.dataVfis);
  readpointer = nextIndex(readpointer);
  answerOutstanding = false;
  outstanding.ends();
}
