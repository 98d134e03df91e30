#include "link/issComm.h"

#include "Guard.h"
#include "link/IssSocket.h"
#include "link/MsgArray.h"
#include "link/running.h"
#include "trace.h"

namespace {

bool stopped(int line) {
  if (running != 0) return false;
  TRACE(DEBUG1, "main", line, "iss_comm", "iss_comm thread stopped");
  return true;
}

/// Sends one slot and sees its answer handled. False when the process stops meanwhile.
bool sendNextSlot() {
  const Guard guard(&mutex);
  while (readpointer == writepointer || issReady == 0) {
    pthread_cond_wait(&cond, &mutex);
    TRACE(DEBUG3, "main", 726, "iss_comm", "iss thread: signal otn msg ready received\n");
    if (stopped(728)) return false;
  }

  const MsgArrayEntry& slot = MsgArray[readpointer];
  TRACE(DEBUG3, "main", 733, "iss_comm", "iss thread: sending msg to OPS rp:%d wp:%d source:%d\n",
        static_cast<int>(readpointer), static_cast<int>(writepointer), static_cast<int>(slot.source));
  answerSentAt = std::chrono::steady_clock::now();
  opsSocket.sentPacket(&slot.msg, sizeof slot.msg);
  TRACE(DEBUG3, "main", 735, "iss_comm", "Sending packet to OPS\n");
  IssProcessing = 1;
  answerOutstanding = true;

  // Other messages of OPS clear the flag without a signal, and a wait may end without one: only a message
  // that was consumed, or the stop, goes on. Otherwise the same message would be sent twice.
  do {
    pthread_cond_wait(&cond2, &mutex);
    TRACE(DEBUG3, "main", 741, "iss_comm", "iss thread: signal OPS msg ready received\n");
    if (stopped(743)) return false;
  } while (IssProcessing == 1 || answerOutstanding);

  TRACE(DEBUG3, "main", 747, "iss_comm", "Received signal OPS is ready processing\n");
  TRACE(DEBUG3, "main", 748, "iss_comm", "iss thread: mutex unlock\n");
  return true;
}

}  // namespace

void* iss_comm(void*) {
  TRACE(INFO, "main", 717, "iss_comm", "Started thread: message handling to OPS\n");
  while (running != 0) {
    TRACE(DEBUG3, "main", 721, "iss_comm", "iss thread: mutex lock rp:%d wp:%d\n",
          static_cast<int>(readpointer), static_cast<int>(writepointer));
    if (!sendNextSlot()) return nullptr;
  }
  stopped(750);
  return nullptr;
}
