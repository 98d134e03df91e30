#include "process/failAttributes.h"

#include <pthread.h>

#include <utility>

namespace {

int attrInitError;
int stackSizeError;

}  // namespace

extern "C" {
int __real_pthread_attr_init(pthread_attr_t* attr);
int __wrap_pthread_attr_init(pthread_attr_t* attr);
int __real_pthread_attr_setstacksize(pthread_attr_t* attr, size_t size);
int __wrap_pthread_attr_setstacksize(pthread_attr_t* attr, size_t size);

int __wrap_pthread_attr_init(pthread_attr_t* attr) {
  if (const int error = std::exchange(attrInitError, 0); error != 0) return error;
  return __real_pthread_attr_init(attr);
}

int __wrap_pthread_attr_setstacksize(pthread_attr_t* attr, size_t size) {
  if (const int error = std::exchange(stackSizeError, 0); error != 0) return error;
  return __real_pthread_attr_setstacksize(attr, size);
}
}

void failNextAttrInit(int error) {
  attrInitError = error;
}

void failNextStackSize(int error) {
  stackSizeError = error;
}
