#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <fstream>
#include <iterator>
#include <memory>

#include "message/MsgHandle.h"
#include "services/ports/PortMessages.h"
#include "services/ports/PortScript.h"
#include "services/ports/SrvIss.h"
#include "support/FakeBus.h"
#include "support/Record.h"
#include "support/RingTest.h"
#include "support/contents.h"

namespace {

using ::testing::ElementsAre;

constexpr uint32_t port = 5;

std::string scriptPath(int32_t index) {
  return "/tmp/SetVlanPort" + std::to_string(port) + "_" + std::to_string(index);
}

std::string creatorLine(const std::string& level, const std::string& text) {
  return loggedAnywhere(level, "SrvIss", "CreateOPSFile", text);
}

class PortScripts : public RingTest {
 protected:
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
  static std::string setUp() { return std::string(setUpScript({port, port + 4000, 77, false}).text()); }

  /// The ring holds what is between the indexes: releases of the port, seen from their second message on.
  static void fillWithReleases(int32_t read, int32_t write) {
    resetRing();
    readpointer = read;
    writepointer = write;
    for (MsgArrayEntry& slot : MsgArray) slot = {};
    for (int32_t index = read; index != write; index = nextIndex(index)) {
      MsgArray[index].msg =
          scriptMessage(scriptPath(index == 0 ? MsgArraySize - 1 : index - 1).c_str(), "/tmp/outscr.sh");
    }
  }
  static bool namedInRing(const std::string& path) {
    for (int32_t index = readpointer; index != writepointer; index = nextIndex(index))
      if (path == MsgArray[index].msg.payload.script.inputFile) return true;
    return false;
  }
  static void create(OtnIpcMsg& msg) {
    const Guard guard(&mutex);
    SrvIss::CreateOPSFile(&msg, PortAction::SetUp, request(PortAction::SetUp).get());
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

TEST_F(PortScripts, ThatAQueuedMessageNamesAreNeverRewritten) {
  int kept = 0;
  for (int32_t read = 0; read < MsgArraySize; ++read) {
    for (int32_t write = 0; write < MsgArraySize; ++write) {
      fillWithReleases(read, write);
      const std::string path = scriptPath(write);
      std::ofstream(path) << "running\n";
      const bool named = namedInRing(path);
      const bool fits = admit(write, read, 2) == Admission::Fits;
      run_iss_script_thread(request(PortAction::SetUp).release());
      SCOPED_TRACE("read " + std::to_string(read) + " write " + std::to_string(write));
      EXPECT_FALSE(named && fits) << "what fits cannot meet a queued script";
      EXPECT_EQ(contents(path), named ? "running\n" : setUp());
      kept += named ? 1 : 0;
      if (fits) OBstubReply::release(MsgArray[write].reply);
    }
  }
  EXPECT_EQ(kept, MsgArraySize)
      << "each index once: a ring of 19 that begins with a release's second message";
}

TEST_F(PortScripts, OfARefusedRequestAreWrittenAllTheSame) {
  fillWithReleases(0, 18);
  run_iss_script_thread(request(PortAction::SetUp).release());
  EXPECT_EQ(writepointer, 18);
  EXPECT_EQ(contents(scriptPath(18)), setUp());
}

TEST_F(PortScripts, ThatAQueuedMessageNamesWithoutItsEndAreOthers) {
  fillWithReleases(2, 1);
  ops::RunScript& script = MsgArray[2].msg.payload.script;
  memset(script.inputFile, 'x', sizeof script.inputFile);
  memcpy(script.inputFile, scriptPath(1).data(), scriptPath(1).size());
  run_iss_script_thread(request(PortAction::SetUp).release());
  EXPECT_EQ(contents(scriptPath(1)), setUp());
}

TEST_F(PortScripts, ThatAMessageOfAnotherTypeSeemsToNameAreWritten) {
  fillWithReleases(2, 1);
  MsgArray[2].msg.msgType = FLUSH_CMD;
  run_iss_script_thread(request(PortAction::SetUp).release());
  EXPECT_EQ(contents(scriptPath(1)), setUp());
}

TEST_F(PortScripts, TellWhatStandsInTheirPlace) {
  ASSERT_EQ(mkdir(scriptPath(0).c_str(), 0700), 0);
  OtnIpcMsg msg;
  memset(&msg, 0xFF, sizeof msg);
  create(msg);
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
  create(msg);
  ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &before), 0);
  signal(SIGXFSZ, disposition);
  expectNoScript(msg, "File too large");
  EXPECT_NE(access(scriptPath(0).c_str(), F_OK), 0);
}

}  // namespace
