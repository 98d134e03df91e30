#include "link/issComm.h"

#include "Guard.h"
#include "TraceObject.h"
#include "link/IssSocket.h"
#include "link/MsgArray.h"
#include "link/Traffic.h"
#include "process/probe.h"
#include "process/running.h"
#include "process/threadName.h"

namespace {

constexpr LogPlace atIssComm{"main", "iss_comm"};

bool stopped(int line) {
  if (running != 0) return false;
  LOG(DEBUG1, atIssComm, line, "iss_comm thread stopped");
  return true;
}

/// Sends one slot and sees its answer handled. False when the process stops meanwhile.
bool sendNextSlot() {
  const Guard guard(&mutex);
  while (readpointer == writepointer || issReady == 0) {
    pthread_cond_wait(&cond, &mutex.native);
    LOG(DEBUG3, atIssComm, 726, "iss thread: signal otn msg ready received\n");
    if (stopped(728)) return false;
  }

  const MsgArrayEntry& slot = MsgArray[readpointer];
  LOG(DEBUG3, atIssComm, 733, "iss thread: sending msg to OPS rp:%d wp:%d source:%d\n",
      static_cast<int>(readpointer), static_cast<int>(writepointer), static_cast<int>(slot.source));
  answerSentAt = std::chrono::steady_clock::now();
  outstanding.begins(slot.msg.msgType, slot.source, answerSentAt);
  PROBE(message_sent, static_cast<int>(readpointer), slot.msg.msgType, static_cast<int>(slot.source));
  opsSocket.sentPacket(&slot.msg, sizeof slot.msg);
  LOG(DEBUG3, atIssComm, 735, "Sending packet to OPS\n");
  IssProcessing = 1;
  answerOutstanding = true;

  // Other messages of OPS clear the flag without a signal, and a wait may end without one: only a message
  // that was consumed, or the stop, goes on. Otherwise the same message would be sent twice.
  do {
    pthread_cond_wait(&cond2, &mutex.native);
    LOG(DEBUG3, atIssComm, 741, "iss thread: signal OPS msg ready received\n");
    if (stopped(743)) return false;
  } while (IssProcessing == 1 || answerOutstanding);

  LOG(DEBUG3, atIssComm, 747, "Received signal OPS is ready processing\n");
  LOG(DEBUG3, atIssComm, 748, "iss thread: mutex unlock\n");
  return true;
}

}  // namespace

void* iss_comm(void*) {
  nameThread("tv-sender");
  LOG(INFO, atIssComm, 717, "Started thread: message handling to OPS\n");
  while (running != 0) {
    LOG(DEBUG3, atIssComm, 721, "iss thread: mutex lock rp:%d wp:%d\n", static_cast<int>(readpointer),
        static_cast<int>(writepointer));
    if (!sendNextSlot()) return nullptr;
  }
  stopped(750);
  return nullptr;
}
