// The workers: kept threads that carry out the requests of all services.
//
// A request takes the next worker that is free, in order of arrival. A worker is made when none is idle, up
// to 16, and stays. 1024 requests may wait, with 16 MiB of text; then whoever brings the next one, the bus
// thread, waits itself, so that the bus refuses what comes meanwhile.
#pragma once

#include <cstddef>
#include <cstdint>

/// A request that is to be carried out, which `run` owns once it is called.
struct Work {
  void (*run)(void* request);
  void* request;
  size_t textSize;  ///< bytes of text in the request
};

/// Hands the work to a worker. Returns 0, or why not, and the request stays the caller's: ECANCELED when the
/// process stops while there is no place, otherwise the system's error number when there is no worker and
/// none can be made. Bus thread.
int handToWorker(const Work& work);

/// How much there is to do, for operators.
struct WorkerLoad {
  uint32_t waiting;  ///< requests that wait for a worker
  uint32_t workers;
};
/// Takes no lock; any thread.
WorkerLoad workerLoad();

/// True once no request waits or runs; false when some still do after `milliseconds`. Any thread.
bool waitForWorkers(int milliseconds);

/// Ends the workers that are idle. Later requests make new ones.
void dismissWorkers();
