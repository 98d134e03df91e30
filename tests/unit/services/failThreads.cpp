#include "services/failThreads.h"

#include <pthread.h>

#include <atomic>

namespace {

std::atomic<int> nextError;
std::atomic<int> everyError;
std::atomic<int> created;
std::atomic<size_t> stackSize;

}  // namespace

extern "C" {
int __real_pthread_create(pthread_t* thread, const pthread_attr_t* attr, void* (*entry)(void*),
                          void* argument);
int __wrap_pthread_create(pthread_t* thread, const pthread_attr_t* attr, void* (*entry)(void*),
                          void* argument);

int __wrap_pthread_create(pthread_t* thread, const pthread_attr_t* attr, void* (*entry)(void*),
                          void* argument) {
  if (const int error = nextError.exchange(0); error != 0) return error;
  if (const int error = everyError; error != 0) return error;
  ++created;
  size_t size = 0;
  if (attr != nullptr) pthread_attr_getstacksize(attr, &size);
  stackSize = size;
  return __real_pthread_create(thread, attr, entry, argument);
}
}

void failNextThread(int error) {
  nextError = error;
}

void failAllThreads(int error) {
  everyError = error;
}

int threadsCreated() {
  return created;
}

size_t lastStackSize() {
  return stackSize;
}
