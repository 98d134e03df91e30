#include "process/threadCommon.h"

#include <cstring>

#include "TraceObject.h"

namespace {

constexpr LogPlace atInitPthreadAttr{"threadCommon", "init_pthread_attr"};

}  // namespace

bool init_pthread_attr(pthread_attr_t* attr) {
  if (const int error = pthread_attr_init(attr); error != 0) {
    LOG(ERROR, atInitPthreadAttr, 21, "Failed to initialize pthread_attr_t: %s", strerror(error));
    return false;
  }
  if (const int error = pthread_attr_setstacksize(attr, workerStackSize); error != 0) {
    LOG(ERROR, atInitPthreadAttr, 28, "Failed to set stack size for thread to %zd: %s",
        static_cast<ssize_t>(workerStackSize), strerror(error));
    pthread_attr_destroy(attr);
    return false;
  }
  return true;
}
