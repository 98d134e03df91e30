#include "services/pattern/Workers.h"

#include <pthread.h>

#include <cerrno>
#include <new>

#include "Guard.h"
#include "TraceObject.h"
#include "process/Relaxed.h"
#include "process/deadline.h"
#include "process/intervals.h"
#include "process/running.h"
#include "process/threadCommon.h"
#include "process/threadName.h"

namespace {

constexpr LogPlace atCarryOut{"Workers", "carryOut"};

constexpr int mostWorkers = 16;
constexpr size_t places = 1024;
constexpr size_t mostText = 16U << 20;  ///< bytes of all waiting requests together

/// Never held while a request runs.
Mutex workersMutex;
pthread_cond_t workWaits = PTHREAD_COND_INITIALIZER;
pthread_cond_t placeFree = PTHREAD_COND_INITIALIZER;
pthread_cond_t allIdle = PTHREAD_COND_INITIALIZER;
pthread_cond_t workerLeft = PTHREAD_COND_INITIALIZER;

Work waiting[places] GUARDED_BY(workersMutex);
size_t first GUARDED_BY(workersMutex);
Relaxed<size_t>
    count;  ///< this and workers are changed with the mutex held, and read for operators without it
size_t text GUARDED_BY(workersMutex);  ///< bytes of the waiting requests

Relaxed<int> workers;
int idle GUARDED_BY(workersMutex);  ///< workers that wait for work, also those that have been woken for it
bool dismissed GUARDED_BY(workersMutex);

bool hasPlace(const Work& work) REQUIRES(workersMutex) {
  return count == 0 || (count < places && text + work.textSize <= mostText);
}

void put(const Work& work) REQUIRES(workersMutex) {
  waiting[(first + count) % places] = work;
  count = count + 1;
  text += work.textSize;
}

Work take() REQUIRES(workersMutex) {
  const Work work = waiting[first];
  first = (first + 1) % places;
  count = count - 1;
  text -= work.textSize;
  return work;
}

/// Waits for work; false when the worker is to end.
bool awaitWork() REQUIRES(workersMutex) {
  if (count > 0) return true;
  if (++idle == workers) pthread_cond_broadcast(&allIdle);
  while (count == 0 && !dismissed) pthread_cond_wait(&workWaits, &workersMutex.native);
  --idle;
  return count > 0;
}

/// The next request for this worker; false when it is to end.
bool nextWork(Work& work) {
  const Guard guard(&workersMutex);
  if (awaitWork()) {
    work = take();
    return true;
  }
  workers = workers - 1;
  pthread_cond_signal(&workerLeft);
  return false;
}

/// The request is gone afterwards, and with it what it held: its reply handle and the ring's lock.
void carryOut(const Work& work) {
  try {
    work.run(work.request);
  } catch (const std::bad_alloc&) {
    LOG(ERROR, atCarryOut, HERE,
        "There is no memory to carry a request out: it is dropped, its caller gets no reply");
  }
}

void* runWorker(void*) {
  nameThread("tv-worker");
  Work work{};
  while (nextWork(work)) {
    pthread_cond_signal(&placeFree);
    carryOut(work);
  }
  return nullptr;
}

int makeWorker() REQUIRES(workersMutex) {
  const ThreadAttributes attributes;
  pthread_t thread;
  const int error = pthread_create(&thread, attributes.get(), runWorker, nullptr);
  if (error != 0) return error;
  pthread_detach(thread);
  workers = workers + 1;
  return 0;
}

/// As handToWorker(), but leaves it to the caller to wake a worker.
int putInLine(const Work& work) {
  const Guard guard(&workersMutex);
  while (!hasPlace(work)) {
    if (stopRequested()) return ECANCELED;
    const timespec nextCheck = monotonicIn(stopCheckInterval);
    pthread_cond_clockwait(&placeFree, &workersMutex.native, CLOCK_MONOTONIC, &nextCheck);
  }
  const bool allTaken = static_cast<size_t>(idle) <= count;
  if (allTaken && workers < mostWorkers) {
    const int error = makeWorker();
    if (error != 0 && workers == 0) return error;
  }
  put(work);
  return 0;
}

}  // namespace

int handToWorker(const Work& work) {
  const int error = putInLine(work);
  if (error == 0) pthread_cond_signal(&workWaits);
  return error;
}

WorkerLoad workerLoad() {
  return {static_cast<uint32_t>(count), static_cast<uint32_t>(workers)};
}

bool waitForWorkers(int milliseconds) {
  const timespec deadline = monotonicIn(milliseconds);
  const Guard guard(&workersMutex);
  while (count > 0 || idle < workers) {
    if (pthread_cond_clockwait(&allIdle, &workersMutex.native, CLOCK_MONOTONIC, &deadline) != 0) break;
  }
  return count == 0 && idle == workers;
}

void dismissWorkers() {
  const Guard guard(&workersMutex);
  dismissed = true;
  pthread_cond_broadcast(&workWaits);
  while (idle > 0) pthread_cond_wait(&workerLeft, &workersMutex.native);
  dismissed = false;
}
