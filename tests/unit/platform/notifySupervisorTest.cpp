#include "notifySupervisor.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <chrono>

#include "support/SupervisorSocket.h"

namespace {

TEST(NotifySupervisor, TellsOneLine) {
  const SupervisorSocket supervisor;
  ASSERT_TRUE(supervisor.bound());
  EXPECT_TRUE(otn::hasSupervisor());
  otn::notifySupervisor("all is well");
  EXPECT_EQ(supervisor.take(), "STATUS=all is well");
  EXPECT_EQ(supervisor.take(), "");
}

TEST(NotifySupervisor, LeavesNoDescriptorOpen) {
  const SupervisorSocket supervisor;
  const int before = dup(STDIN_FILENO);
  close(before);
  otn::notifySupervisor("all is well");
  const int after = dup(STDIN_FILENO);
  close(after);
  EXPECT_EQ(after, before);
}

TEST(NotifySupervisor, DoesNotWaitForOneThatDoesNotRead) {
  const SupervisorSocket supervisor;
  const auto before = std::chrono::steady_clock::now();
  for (int i = 0; i < 10000; ++i) otn::notifySupervisor("still here");
  EXPECT_LT(std::chrono::steady_clock::now() - before, std::chrono::seconds(10));
  EXPECT_EQ(supervisor.take(), "STATUS=still here");
}

TEST(NotifySupervisor, DoesNothingWithoutOne) {
  EXPECT_FALSE(otn::hasSupervisor());
  otn::notifySupervisor("nobody hears");
  for (const std::string& path : {std::string(), std::string("@"), std::string("relative"),
                                  std::string("/nothing/is/here"), "/" + std::string(200, 'x')}) {
    setenv("NOTIFY_SOCKET", path.c_str(), 1);
    EXPECT_EQ(otn::hasSupervisor(), path == "/nothing/is/here");
    otn::notifySupervisor("nobody hears");
  }
  unsetenv("NOTIFY_SOCKET");
}

}  // namespace
