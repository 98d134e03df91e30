#include "link/SrvDbg.h"

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

#include "OtnIpcMsg.h"
#include "support/DebugTool.h"
#include "support/Record.h"
#include "support/RoomTest.h"

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

const std::string bindingFailed =
    loggedAnywhere("WARNING", "SrvDbg", "StartUdpServer", "Debug socket binding failed\n");

std::string noSocketFor(const std::string& why) {
  return loggedAnywhere("WARNING", "SrvDbg", "StartUdpServer",
                        "No debug socket at /tmp/socket-server (" + why +
                            "): remove what stands there and start the daemon again\n");
}

class DebugSocket : public RoomTest {
 protected:
  DebugSocket() { removeServer(); }
  ~DebugSocket() override { removeServer(); }
  static void removeServer() {
    if (unlink("/tmp/socket-server") != 0) rmdir("/tmp/socket-server");
  }
  int fd() const {
    int descriptor = -2;
    m_socket.getFd(descriptor);
    return descriptor;
  }

  SrvDbg m_socket;
};

TEST_F(DebugSocket, HasNoDescriptorBeforeItsStart) {
  EXPECT_EQ(fd(), -1);
}

TEST_F(DebugSocket, ComesUpAtItsPath) {
  ASSERT_EQ(m_socket.StartUdpServer(), 0);
  EXPECT_THAT(lines(), ElementsAre(logged("INFO", "SrvDbg", 50, "StartUdpServer",
                                          "Debug socket up [fd=" + std::to_string(fd()) + "]\n")));
  struct stat status {};
  ASSERT_EQ(stat("/tmp/socket-server", &status), 0);
  EXPECT_TRUE(S_ISSOCK(status.st_mode));
}

TEST_F(DebugSocket, ReplacesAStaleFile) {
  ASSERT_EQ(close(open("/tmp/socket-server", O_WRONLY | O_CREAT | O_CLOEXEC, 0600)), 0);
  EXPECT_EQ(m_socket.StartUdpServer(), 0);
  DebugTool tool;
  EXPECT_TRUE(tool.send("hello"));
}

TEST_F(DebugSocket, ReplacesTheSocketOfAnEarlierRun) {
  ASSERT_EQ(SrvDbg().StartUdpServer(), 0);
  EXPECT_EQ(m_socket.StartUdpServer(), 0);
}

TEST_F(DebugSocket, WarnsWhenItsPathCannotBeBound) {
  ASSERT_EQ(mkdir("/tmp/socket-server", 0700), 0);
  EXPECT_EQ(m_socket.StartUdpServer(), 1);
  EXPECT_THAT(unnumbered(), ElementsAre(bindingFailed, noSocketFor("Is a directory")));
  EXPECT_EQ(lines()[0], logged("WARNING", "SrvDbg", 43, "StartUdpServer", "Debug socket binding failed\n"));
  EXPECT_GE(fd(), 0) << "an unbound socket remains, which never becomes readable";
}

TEST_F(DebugSocket, TellsWhyItsPathCannotBeBound) {
  if (geteuid() != 0) GTEST_SKIP() << "only root can give up its identity: run the tests as root";
  ASSERT_EQ(close(open("/tmp/socket-server", O_WRONLY | O_CREAT | O_CLOEXEC, 0600)), 0);
  ASSERT_EQ(chmod("/tmp", 01777), 0);
  ASSERT_EQ(seteuid(65534), 0);
  EXPECT_EQ(m_socket.StartUdpServer(), 1);
  ASSERT_EQ(seteuid(0), 0);
  EXPECT_THAT(unnumbered(), ElementsAre(bindingFailed, noSocketFor("Operation not permitted")))
      << "another user's file in a sticky directory";
}

TEST_F(DebugSocket, TellsOfADirectoryWithoutRoom) {
  if (geteuid() != 0) GTEST_SKIP() << "only root can mount: run the tests as root";
  ASSERT_EQ(mount("tmpfs", "/tmp", "tmpfs", 0, "nr_inodes=1"), 0);
  EXPECT_EQ(m_socket.StartUdpServer(), 1);
  ASSERT_EQ(umount("/tmp"), 0);
  EXPECT_THAT(unnumbered(), ElementsAre(bindingFailed, noSocketFor("No space left on device")))
      << "that nothing stood at the path is no reason";
}

TEST_F(DebugSocket, WarnsWhenThereIsNoDescriptor) {
  rlimit before{};
  ASSERT_EQ(getrlimit(RLIMIT_NOFILE, &before), 0);
  const rlimit none{0, before.rlim_max};
  // A sanitizer looks at the test's own object with a pipe, which then cannot be had.
  SrvDbg& socket = m_socket;
  ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &none), 0);
  const int result = socket.StartUdpServer();
  ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &before), 0);
  EXPECT_EQ(result, 1);
  EXPECT_THAT(lines(), ElementsAre(logged("WARNING", "SrvDbg", 33, "StartUdpServer",
                                          "opening debug socket() failed\n")));
  EXPECT_EQ(fd(), -1);
}

TEST_F(DebugSocket, TakesOneRecordPerDatagram) {
  ASSERT_EQ(m_socket.StartUdpServer(), 0);
  DebugTool tool;
  const std::string sent = recordBytes({ofType(FLUSH_CMD), octet(lastByte, 7)});
  ASSERT_TRUE(tool.send(sent));
  ASSERT_TRUE(tool.send("short"));
  OtnIpcMsg msg{};
  EXPECT_EQ(m_socket.recvRequest(&msg, sizeof msg), 6924);
  EXPECT_EQ(bytesOf(msg), sent);
  EXPECT_EQ(m_socket.recvRequest(&msg, sizeof msg), 5);
  ASSERT_TRUE(tool.send(sent + "too much"));
  EXPECT_EQ(m_socket.recvRequest(&msg, sizeof msg), 6932) << "its own size";
  EXPECT_EQ(bytesOf(msg), sent);
}

TEST_F(DebugSocket, AnswersAtTheToolsPath) {
  ASSERT_EQ(m_socket.StartUdpServer(), 0);
  DebugTool tool;
  const OtnIpcMsg answer = recordOf({ofType(FLUSH_CMD), {"status", 1}});
  EXPECT_EQ(m_socket.sendReply(&answer, sizeof answer), 6924);
  EXPECT_EQ(tool.receive(), bytesOf(answer));
}

TEST_F(DebugSocket, DropsAnAnswerWithoutATool) {
  ASSERT_EQ(m_socket.StartUdpServer(), 0);
  unlink("/tmp/socket-client");
  forget();
  EXPECT_EQ(m_socket.sendReply("x", 1), -1);
  EXPECT_THAT(lines(), IsEmpty());
}

TEST_F(DebugSocket, DropsAnswersToAToolThatDoesNotRead) {
  ASSERT_EQ(m_socket.StartUdpServer(), 0);
  DebugTool tool;
  const OtnIpcMsg answer{};
  int taken = 0;
  while (m_socket.sendReply(&answer, sizeof answer) == 6924 && taken < 100000) ++taken;
  EXPECT_EQ(errno, EAGAIN);
  EXPECT_GE(taken, 1);
  EXPECT_EQ(m_socket.sendReply(&answer, sizeof answer), -1) << "and does not block";
}

TEST_F(DebugSocket, DoesNotBlockWithoutARequest) {
  ASSERT_EQ(m_socket.StartUdpServer(), 0);
  char buffer[8];
  EXPECT_EQ(m_socket.recvRequest(buffer, sizeof buffer), -1);
  EXPECT_EQ(errno, EAGAIN);
}

}  // namespace
