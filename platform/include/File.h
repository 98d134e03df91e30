// File reading as the board offers it. One thread at a time per object.
#pragma once

#include <string>

namespace otn {

class File {
 public:
  explicit File(std::string path);
  /// Closes the file.
  ~File();
  File(const File&) = delete;
  File& operator=(const File&) = delete;

  /// mode 0 opens for reading; other modes are refused. True on success.
  bool openFile(int mode);
  /// Reads up to `size` bytes from the current position; a shorter file leaves the rest of the buffer as it
  /// was. True unless the read failed.
  bool readFile(void* buffer, unsigned int size);

 private:
  std::string m_path;
  int m_fd = -1;
};

}  // namespace otn
