// The board half of the platform library.
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sched.h>
#include <sys/mount.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <thread>
#include <utility>
#include <vector>

#include "File.h"
#include "TraceObject.h"
#include "boardUtils.h"
#include "executeCommand.h"
#include "failCalls.h"
#include "logAssertFailed.h"
#include "stopPending.h"
#include "support/NoDescriptors.h"
#include "support/SyslogCapture.h"
#include "support/waitFor.h"

namespace {

using testing::ElementsAre;
using testing::HasSubstr;

TEST(ExecuteCommand, reportsStatusAndOutput) {
  int status = 77;
  std::string output = "before";
  EXPECT_TRUE(otn::executeCommand("echo out; echo err >&2", true, &status, &output, true));
  EXPECT_EQ(status, 0);
  EXPECT_EQ(output, "out\n");
  EXPECT_FALSE(otn::executeCommand("printf x; exit 3", true, &status, &output, true));
  EXPECT_EQ(status, 3);
  EXPECT_EQ(output, "x");
  EXPECT_FALSE(otn::executeCommand("kill -9 $$", true, &status, nullptr, true));
  EXPECT_EQ(status, -1);
  EXPECT_FALSE(otn::executeCommand("exit 254", true, &status, nullptr, true));
  EXPECT_EQ(status, 254);
}

TEST(ExecuteCommand, collectsMoreOutputThanAPipeHolds) {
  std::string output;
  EXPECT_TRUE(otn::executeCommand("head -c 300000 /dev/zero", true, nullptr, &output, true));
  EXPECT_EQ(output.size(), 300000U);
}

TEST(ExecuteCommand, collectsOutputThatComesInPieces) {
  std::string output;
  EXPECT_TRUE(otn::executeCommand("echo one; sleep 0.3; echo two", true, nullptr, &output, true));
  EXPECT_EQ(output, "one\ntwo\n");
}

TEST(ExecuteCommand, doesNotWaitForAGrandchildThatKeepsTheOutput) {
  std::string output;
  const auto before = std::chrono::steady_clock::now();
  EXPECT_TRUE(otn::executeCommand("sleep 30 & echo $!", true, nullptr, &output, true));
  EXPECT_LT(std::chrono::steady_clock::now() - before, std::chrono::seconds(20));
  kill(atoi(output.c_str()), SIGKILL);
}

TEST(ExecuteCommand, givesTheChildNoMaskAndDefaultDispositions) {
  sigset_t mask;
  sigset_t before;
  sigfillset(&mask);
  pthread_sigmask(SIG_BLOCK, &mask, &before);
  signal(SIGUSR1, SIG_IGN);
  std::string output;
  EXPECT_TRUE(otn::executeCommand("grep -E '^Sig(Blk|Ign)' /proc/self/status", true, nullptr, &output, true));
  signal(SIGUSR1, SIG_DFL);
  pthread_sigmask(SIG_SETMASK, &before, nullptr);
  // The C library keeps signals 32 and 33 for itself; whoever started the test may have ignored them.
  unsigned long long blocked = ~0ULL;
  unsigned long long ignored = ~0ULL;
  EXPECT_EQ(sscanf(output.c_str(), "SigBlk:\t%llx\nSigIgn:\t%llx\n", &blocked, &ignored), 2);
  EXPECT_EQ(blocked, 0U);
  EXPECT_EQ(ignored & ~(3ULL << 31), 0U);
}

TEST(ExecuteCommand, keepsDescriptorsToItself) {
  const int leaky = open("/dev/null", O_RDONLY);
  ASSERT_GT(leaky, 2);
  std::string output;
  EXPECT_FALSE(otn::executeCommand(("test -e /proc/self/fd/" + std::to_string(leaky)).c_str(), true, nullptr,
                                   &output, true));
  close(leaky);
}

/// A process that was started without standard input gets its descriptor for the pipe.
TEST(ExecuteCommand, leavesNoDescriptorOpen) {
  const int input = dup(STDIN_FILENO);
  close(STDIN_FILENO);
  std::string output;
  EXPECT_TRUE(otn::executeCommand("echo out", true, nullptr, &output, true));
  EXPECT_EQ(fcntl(STDIN_FILENO, F_GETFD), -1);
  dup2(input, STDIN_FILENO);
  close(input);
  EXPECT_EQ(output, "out\n");
}

TEST(ExecuteCommand, isBrokenOffByAStop) {
  std::string output;
  int status = 0;
  otn::setStopping(true);
  EXPECT_FALSE(otn::executeCommand("echo $$; exec sleep 30", true, &status, &output, true));
  otn::setStopping(false);
  EXPECT_EQ(status, otn::statusUnknown) << "no failure of the command";
  EXPECT_EQ(kill(atoi(output.c_str()), SIGKILL), 0) << "the command must be left running";
}

TEST(ExecuteCommand, knowsNoStatusWhereTheSystemKeepsNone) {
  const auto before = signal(SIGCHLD, SIG_IGN);
  std::string output;
  int status = 0;
  EXPECT_FALSE(otn::executeCommand("echo out", true, &status, &output, true));
  signal(SIGCHLD, before);
  EXPECT_EQ(status, otn::statusUnknown);
  EXPECT_EQ(output, "out\n");
}

TEST(ExecuteCommand, doesNotWaitWhenNotAsked) {
  char path[] = "/tmp/trelvik-command.XXXXXX";
  ASSERT_NE(mkdtemp(path), nullptr);
  const std::string go = std::string(path) + "/go";
  const std::string gone = std::string(path) + "/gone";
  // The command ends only after the call has returned.
  const std::string command = "while [ ! -e " + go + " ]; do sleep 0.01; done; touch " + gone;
  EXPECT_TRUE(otn::executeCommand(command.c_str(), false, nullptr, nullptr, true));
  std::ofstream{go};
  EXPECT_TRUE(waitFor([&gone] { return access(gone.c_str(), F_OK) == 0; }));
  unlink(go.c_str());
  unlink(gone.c_str());
  rmdir(path);
}

TEST(ExecuteCommand, leavesOutputAloneOfWhatItDoesNotWaitFor) {
  std::string output = "before";
  EXPECT_TRUE(otn::executeCommand("echo out", false, nullptr, &output, true));
  EXPECT_EQ(output, "");
}

TEST(ExecuteCommand, readsOnAfterASignal) {
  failing::readFile.fail(failing::Call::By::Test, EINTR);
  std::string output;
  EXPECT_TRUE(otn::executeCommand("echo out", true, nullptr, &output, true));
  EXPECT_TRUE(failing::readFile.done());
  EXPECT_EQ(output, "out\n");
}

TEST(ExecuteCommand, endsWithTheChildWhenItsOutputCannotBeRead) {
  failing::readFile.fail(failing::Call::By::Test, EIO);
  std::string output;
  int status = -1;
  EXPECT_TRUE(otn::executeCommand("exit 0", true, &status, &output, true));
  EXPECT_TRUE(failing::readFile.done());
  EXPECT_EQ(status, 0);
  EXPECT_EQ(output, "");
}

TEST(ExecuteCommand, tellsACommandThatCannotBeStarted) {
  const SyslogCapture log;
  std::string output;
  int status = 0;
  for (const bool told : {false, true}) {
    const NoDescriptors lack;
    EXPECT_FALSE(otn::executeCommand("echo out", true, &status, &output, told));
    EXPECT_EQ(log.count("[ERROR] board:"), told ? 1U : 0U);
  }
  EXPECT_EQ(log.count("Failed to start [echo out]: Too many open files"), 1U);
  EXPECT_EQ(status, -1);
  EXPECT_EQ(output, "");
}

TEST(StopPending, seesABlockedStopSignal) {
  for (const int signal : {SIGTERM, SIGQUIT, SIGINT}) {
    sigset_t mask;
    sigset_t before;
    sigemptyset(&mask);
    sigaddset(&mask, signal);
    pthread_sigmask(SIG_BLOCK, &mask, &before);
    EXPECT_FALSE(otn::stopPending());
    pthread_kill(pthread_self(), signal);
    EXPECT_TRUE(otn::stopPending());
    int taken = 0;
    sigwait(&mask, &taken);
    EXPECT_FALSE(otn::stopPending());
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
  }
}

TEST(File, readsUpToTheEnd) {
  char path[] = "/tmp/trelvik-file.XXXXXX";
  const int fd = mkstemp(path);
  ASSERT_EQ(write(fd, "abcdef", 6), 6);
  close(fd);
  otn::File file(path);
  char buffer[] = "????????";
  EXPECT_FALSE(file.readFile(buffer, 1));
  EXPECT_FALSE(file.openFile(1));
  ASSERT_TRUE(file.openFile(0));
  EXPECT_TRUE(file.readFile(buffer, 4));
  EXPECT_STREQ(buffer, "abcd????");
  EXPECT_TRUE(file.readFile(buffer, 8));
  EXPECT_STREQ(buffer, "efcd????");
  ASSERT_TRUE(file.openFile(0)) << "opened anew, it is read from its begin";
  failing::readFile.fail(failing::Call::By::Test, EINTR);
  EXPECT_TRUE(file.readFile(buffer, 3));
  EXPECT_TRUE(failing::readFile.done());
  EXPECT_STREQ(buffer, "abcd????");
  unlink(path);
  EXPECT_FALSE(otn::File(path).openFile(0));
  otn::File directory("/tmp");
  ASSERT_TRUE(directory.openFile(0));
  EXPECT_FALSE(directory.readFile(buffer, 3));
}

/// A process that was started without standard input gets its descriptor for the next file.
TEST(File, isReadWhicheverDescriptorItHas) {
  const int input = dup(STDIN_FILENO);
  close(STDIN_FILENO);
  {
    otn::File file("/proc/self/comm");
    char first = 0;
    EXPECT_TRUE(file.openFile(0));
    EXPECT_TRUE(file.readFile(&first, 1));
    EXPECT_NE(first, 0);
    EXPECT_TRUE(file.openFile(0));
    EXPECT_GE(fcntl(STDIN_FILENO, F_GETFD), 0);
  }
  EXPECT_EQ(fcntl(STDIN_FILENO, F_GETFD), -1) << "the descriptor must be closed";
  dup2(input, STDIN_FILENO);
  close(input);
}

TEST(BoardUtils, takesTheNameFromTheEnvironment) {
  setenv("BOARD_NAME", "Lab CSM 1", 1);
  EXPECT_EQ(boardUtils().getName(), "Lab CSM 1");
  unsetenv("BOARD_NAME");
  const std::string name = boardUtils().getName();
  EXPECT_EQ(name.find('\n'), std::string::npos);
  EXPECT_EQ(name.find('\0'), std::string::npos);
}

/// The name with these files of the kernel in place of the machine's; "?" where the system gives the test no
/// mounts of its own.
std::string nameWith(const std::vector<std::pair<std::string, std::string>>& files) {
  std::string name = "?";
  std::thread([&] {
    if (unshare(CLONE_NEWNS) != 0 || mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0 ||
        mount("tmpfs", "/sys", "tmpfs", 0, nullptr) != 0 || mount("tmpfs", "/proc", "tmpfs", 0, nullptr) != 0)
      return;
    for (const auto& [path, text] : files) {
      std::filesystem::create_directories(std::filesystem::path(path).parent_path());
      std::ofstream(path, std::ios::binary) << text;
    }
    name = boardUtils().getName();
  }).join();
  return name;
}

TEST(BoardUtils, takesTheNameFromTheKernel) {
  unsetenv("BOARD_NAME");
  const std::string tree = "/proc/device-tree/model";
  const std::string table = "/sys/class/dmi/id/board_name";
  if (nameWith({}) == "?") GTEST_SKIP() << "this system gives the test no mounts of its own: run it as root";
  EXPECT_EQ(nameWith({}), "");
  EXPECT_EQ(nameWith({{tree, std::string("Lab CSM 2\0rest", 14)}}), "Lab CSM 2");
  EXPECT_EQ(nameWith({{table, "EDGE-1 \r\n"}}), "EDGE-1");
  EXPECT_EQ(nameWith({{tree, "A"}, {table, "B"}}), "A");
  EXPECT_EQ(nameWith({{tree, " \n"}, {table, "B"}}), "B");
  EXPECT_EQ(nameWith({{table + "/x", ""}}), "") << "a directory in the file's place";
}

TEST(LogAssertFailed, logsOneErrorLine) {
  const SyslogCapture log;
  logAssertFailed("m_pInstance", "a.cpp", "static A& A::getInstance()");
  EXPECT_THAT(log.lines(), ElementsAre(HasSubstr("m_pInstance, a.cpp, static A& A::getInstance()")));
  EXPECT_EQ(log.count("[ERROR] board:"), 1U);
}

TEST(TraceObject, filtersByLevelAndEvaluatesNothingBelow) {
  const SyslogCapture log;
  TraceObject object("Trelvik", trace::INFO);
  TraceObject* const pointer = &object;
  const LogPlace place{"x", "f", &pointer};
  int evaluated = 0;
  LOG(DEBUG1, place, 1, "%d", ++evaluated);
  EXPECT_EQ(evaluated, 0);
  object.levelHolder()->level = trace::DEBUG3;
  LOG(DEBUG3, place, 1, "%d\n", ++evaluated);
  ASSERT_EQ(log.entries().size(), 1U);
  EXPECT_EQ(log.entries()[0].text, "[DEBUG3] x:1 (f) - 1\n");
  EXPECT_EQ(log.entries()[0].priority, LOG_DEBUG);
}

}  // namespace
