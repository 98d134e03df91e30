#include "services/ServicePattern.h"

#include "Guard.h"
#include "link/deadline.h"
#include "trace.h"

namespace {

pthread_mutex_t workersMutex = PTHREAD_MUTEX_INITIALIZER;  // guards `workers`
pthread_cond_t workersEnded = PTHREAD_COND_INITIALIZER;
int workers = 0;

}  // namespace

void workerStarts() {
  const Guard guard(&workersMutex);
  ++workers;
}

void workerEnds() {
  const Guard guard(&workersMutex);
  if (--workers == 0) pthread_cond_broadcast(&workersEnded);
}

bool waitForWorkers(int milliseconds) {
  const timespec deadline = monotonicIn(milliseconds);
  const Guard guard(&workersMutex);
  while (workers > 0)
    if (pthread_cond_clockwait(&workersEnded, &workersMutex, CLOCK_MONOTONIC, &deadline) != 0) break;
  return workers == 0;
}

bool admitBatch(int32_t n, const OverflowLine& line) {
  const Admission admission = admit(writepointer, readpointer, n);
  if (admission == Admission::Fits) return true;
  TRACE(ERROR, line.source,
        admission == Admission::NoRoomBehindReader ? line.behindReader : line.aheadOfReader, line.function,
        "Buffer overflow, message lost!\n");
  return false;
}
