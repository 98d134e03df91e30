#include "services/pattern/ServicePattern.h"

#include "TraceObject.h"

bool admitBatch(int32_t n, const OverflowLine& line) {
  const Admission admission = admit(writepointer, readpointer, n);
  if (admission == Admission::Fits) return true;
  LOG(ERROR, line.place, admission == Admission::NoRoomBehindReader ? line.behindReader : line.aheadOfReader,
      "Buffer overflow, message lost!\n");
  return false;
}
