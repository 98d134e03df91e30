#include "services/failClose.h"

#include <atomic>
#include <cerrno>
#include <utility>

namespace {

std::atomic<int> nextCloseError;

}  // namespace

extern "C" {
int __real_close(int fd);
int __wrap_close(int fd);
}

int __wrap_close(int fd) {
  const int result = __real_close(fd);
  const int error = nextCloseError.exchange(0);
  if (error == 0) return result;
  errno = error;
  return -1;
}

void failNextClose(int error) {
  nextCloseError = error;
}
