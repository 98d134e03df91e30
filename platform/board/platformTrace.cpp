#include "board/platformTrace.h"

TraceObject* platformTrace() {
  static TraceObject* const object = new TraceObject(nullptr, trace::INFO);
  return object;
}
