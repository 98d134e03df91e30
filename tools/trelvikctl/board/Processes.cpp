#include <fstream>
#include <iterator>

#include "board/Check.h"

namespace ctl {

std::string processName(pid_t pid) {
  std::ifstream file("/proc/" + std::to_string(pid) + "/comm");
  std::string name;
  std::getline(file, name);
  return name;
}

bool readEnvironment(pid_t pid, const std::string& name, std::string& value) {
  std::ifstream file("/proc/" + std::to_string(pid) + "/environ", std::ios::binary);
  const std::string all{std::istreambuf_iterator<char>(file), {}};
  if (all.empty()) return false;
  value.clear();
  for (size_t at = 0; at < all.size();) {
    const size_t end = std::min(all.find('\0', at), all.size());
    if (all.compare(at, name.size() + 1, name + '=') == 0) {
      value = all.substr(at + name.size() + 1, end - at - name.size() - 1);
    }
    at = end + 1;
  }
  return true;
}

}  // namespace ctl
