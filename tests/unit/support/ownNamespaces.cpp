// Network and /tmp of the test's own, because the daemon's port and several of its paths are fixed.
#include <gtest/gtest.h>
#include <sched.h>
#include <sys/mount.h>
#include <unistd.h>

#include "support/loopback.h"

namespace {

/// For the main thread, and the threads that it starts. Where the system does not allow it the tests run in
/// the machine's: the build lets them take turns.
class OwnNamespaces : public testing::Environment {
 public:
  void SetUp() override {
    const int userNamespace = geteuid() == 0 ? 0 : CLONE_NEWUSER;
    if (unshare(userNamespace | CLONE_NEWNET | CLONE_NEWNS) != 0) return;
    mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr);
    mount("tmpfs", "/tmp", "tmpfs", 0, nullptr);
    bringLoopbackUp();
  }
};

[[maybe_unused]] testing::Environment* const ownNamespaces =
    testing::AddGlobalTestEnvironment(new OwnNamespaces);

}  // namespace
