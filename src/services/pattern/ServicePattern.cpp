#include "services/pattern/ServicePattern.h"

bool admitBatch(const TailLines& lines, int32_t n) {
  const Admission admission = admit(writepointer, readpointer, n);
  if (admission == Admission::Fits) return true;
  LOG(ERROR, lines.place,
      admission == Admission::NoRoomBehindReader ? lines.behindReader : lines.aheadOfReader,
      "Buffer overflow, message lost!\n");
  return false;
}

void countRefused(MsgSource source) {
  if (InterfaceCounts* const counts = countsOf(source); counts != nullptr) ++counts->refusedByRing;
}

void countSilent(MsgSource source) {
  if (InterfaceCounts* const counts = countsOf(source); counts != nullptr) ++counts->neverAnswered;
}

void logQueued(const TailLines& lines) {
  LOG(DEBUG3, lines.place, lines.signal, "send signal for sending message");
  LOG(DEBUG3, lines.place, lines.unlock, "mutex unlock");
}
