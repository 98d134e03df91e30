#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <memory>

#include "services/SrvIss.h"
#include "support/FakeBus.h"
#include "support/OwnNamespaces.h"
#include "support/Record.h"
#include "support/RingTest.h"

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

constexpr uint32_t port = 5;

std::string scriptPath(int32_t index) {
  return "/tmp/SetVlanPort" + std::to_string(port) + "_" + std::to_string(index);
}

std::string creatorLine(const std::string& level, const std::string& text) {
  return loggedAnywhere(level, "SrvIss", "CreateOPSFile", text);
}

class PortScripts : public RingTest {
 protected:
  static void SetUpTestSuite() { enterOwnNamespaces(); }
  PortScripts() {
    FakeBus::clear();
    SrvIss::createInstance(false);
    SrvIss::getInstance().register_interface(nullptr);
    setLevel(6);
  }
  ~PortScripts() override {
    SrvIss::destroyInstance();
    for (int32_t index = 0; index < MsgArraySize; ++index)
      if (unlink(scriptPath(index).c_str()) != 0) rmdir(scriptPath(index).c_str());
  }

  static std::unique_ptr<SetPortParamsRequest> request(PortAction action) {
    return std::unique_ptr<SetPortParamsRequest>(new SetPortParamsRequest{
        &SrvIss::getInstance(), ReplyOwner(FakeBus::call(1)), static_cast<uint32_t>(action), 6, port,
        port + 4000, 1000, true, 77, 0, 0, false});
  }
  /// What the documented lines and ours say of a script that could not be written.
  void expectNoScript(const OtnIpcMsg& msg, const std::string& why) {
    EXPECT_TRUE(hasExactly(msg, {}));
    EXPECT_THAT(unnumbered(),
                ElementsAre(creatorLine("ERROR", "Unable to create OPS file!!\n"),
                            creatorLine("WARNING", "Script " + scriptPath(0) + " not written (" + why +
                                                       "): ISS gets an empty message in its place\n")));
  }
};

TEST_F(PortScripts, TellWhatStandsInTheirPlace) {
  ASSERT_EQ(mkdir(scriptPath(0).c_str(), 0700), 0);
  OtnIpcMsg msg;
  memset(&msg, 0xFF, sizeof msg);
  SrvIss::CreateOPSFile(&msg, PortAction::SetUp, request(PortAction::SetUp).get());
  expectNoScript(msg, "Is a directory");
}

TEST_F(PortScripts, ThatFailHalfwayAreNoScripts) {
  rlimit before{};
  ASSERT_EQ(getrlimit(RLIMIT_FSIZE, &before), 0);
  const rlimit hundredBytes{100, before.rlim_max};
  const auto disposition = signal(SIGXFSZ, SIG_IGN);
  ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &hundredBytes), 0);
  OtnIpcMsg msg;
  memset(&msg, 0xFF, sizeof msg);
  SrvIss::CreateOPSFile(&msg, PortAction::SetUp, request(PortAction::SetUp).get());
  ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &before), 0);
  signal(SIGXFSZ, disposition);
  expectNoScript(msg, "File too large");
  EXPECT_NE(access(scriptPath(0).c_str(), F_OK), 0);
}

}  // namespace
