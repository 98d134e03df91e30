#include "boardUtils.h"

#include <cstdlib>

#include "File.h"

namespace {

/// The first text in a file of the kernel, which ends it with a NUL or a line end.
std::string kernelText(const char* path) {
  otn::File file(path);
  char text[256] = {};
  if (!file.openFile(0) || !file.readFile(text, sizeof text - 1)) return {};
  std::string result(text);
  result.erase(result.find_last_not_of("\r\n\t ") + 1);
  return result;
}

}  // namespace

std::string boardUtils::getName() const {
  if (const char* name = getenv("BOARD_NAME")) return name;
  std::string name = kernelText("/proc/device-tree/model");
  return name.empty() ? kernelText("/sys/class/dmi/id/board_name") : name;
}
