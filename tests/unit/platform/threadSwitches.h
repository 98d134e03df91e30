// How often threads of this process went to sleep, by the kernel's count: who is woken shows in it.
#pragma once

#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <string>

namespace busTest {

/// Of all threads but the caller's; with a name, of the one of that name, -1 when there is none.
inline long switchesOfOthers(const std::string& name = {}) {
  long sum = name.empty() ? 0 : -1;
  for (const auto& task : std::filesystem::directory_iterator("/proc/self/task")) {
    if (task.path().filename() == std::to_string(gettid())) continue;
    std::ifstream status(task.path() / "status");
    std::string word;
    std::string thread;
    while (status >> word) {
      if (word == "Name:") status >> thread;
      if (word != "voluntary_ctxt_switches:" || (!name.empty() && thread != name)) continue;
      long count = 0;
      status >> count;
      sum = std::max(sum, 0L) + count;
    }
  }
  return sum;
}

}  // namespace busTest
