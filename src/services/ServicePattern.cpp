#include "services/ServicePattern.h"

#include "trace.h"

bool admitBatch(int32_t n, const OverflowLine& line) {
  const Admission admission = admit(writepointer, readpointer, n);
  if (admission == Admission::Fits) return true;
  TRACE(ERROR, line.source,
        admission == Admission::NoRoomBehindReader ? line.behindReader : line.aheadOfReader, line.function,
        "Buffer overflow, message lost!\n");
  return false;
}
