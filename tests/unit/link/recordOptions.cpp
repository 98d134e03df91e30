#include "link/recordOptions.h"

#include <sys/socket.h>

#include <cstring>
#include <utility>

namespace {

std::vector<SocketOption> options;

}  // namespace

extern "C" {
int __real_setsockopt(int fd, int level, int name, const void* value, socklen_t size);
int __wrap_setsockopt(int fd, int level, int name, const void* value, socklen_t size);

int __wrap_setsockopt(int fd, int level, int name, const void* value, socklen_t size) {
  if (size == sizeof(int)) {
    SocketOption option{level, name, 0};
    memcpy(&option.value, value, sizeof option.value);
    options.push_back(option);
  }
  return __real_setsockopt(fd, level, name, value, size);
}
}

std::vector<SocketOption> takeSocketOptions() {
  return std::exchange(options, {});
}
