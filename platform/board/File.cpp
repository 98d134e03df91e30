#include "File.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <utility>

namespace otn {

File::File(std::string path) : m_path(std::move(path)) {}

File::~File() {
  if (m_fd >= 0) close(m_fd);
}

bool File::openFile(int mode) {
  if (mode != 0) return false;
  if (m_fd >= 0) close(m_fd);
  m_fd = open(m_path.c_str(), O_RDONLY | O_CLOEXEC);
  return m_fd >= 0;
}

bool File::readFile(void* buffer, unsigned int size) {
  if (m_fd < 0) return false;
  char* position = static_cast<char*>(buffer);
  while (size > 0) {
    const ssize_t count = read(m_fd, position, size);
    if (count < 0 && errno == EINTR) continue;
    if (count < 0) return false;
    if (count == 0) break;
    position += count;
    size -= static_cast<unsigned int>(count);
  }
  return true;
}

}  // namespace otn
