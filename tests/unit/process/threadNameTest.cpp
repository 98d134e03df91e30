#include "process/threadName.h"

#include <gtest/gtest.h>

#include <fstream>
#include <string>
#include <thread>

namespace {

std::string nameOfThisThread() {
  std::ifstream comm("/proc/thread-self/comm");
  std::string name;
  std::getline(comm, name);
  return name;
}

TEST(ThreadName, IsTheCallersOwnAndNobodyElses) {
  const std::string before = nameOfThisThread();
  std::string seen;
  std::thread named([&seen] {
    nameThread("tv-of-a-test");
    seen = nameOfThisThread();
  });
  named.join();
  EXPECT_EQ(seen, "tv-of-a-test");
  EXPECT_EQ(nameOfThisThread(), before);
}

}  // namespace
