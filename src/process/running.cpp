#include "process/running.h"

#include "stopPending.h"

Relaxed<uint8_t> running{1};

bool stopRequested() {
  return running == 0 || otn::stopPending();
}
