#include "link/IssSocket.h"

#include <fcntl.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/wait.h>

#include <atomic>
#include <csignal>
#include <cstring>
#include <fstream>
#include <thread>

#include "link/Traffic.h"
#include "link/recordOptions.h"
#include "process/running.h"
#include "stopPending.h"
#include "support/NoDescriptors.h"
#include "support/OpsPeer.h"
#include "support/Record.h"
#include "support/RoomTest.h"
#include "support/loopback.h"
#include "support/waitFor.h"

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

volatile sig_atomic_t brokenPipes = 0;
void countBrokenPipe(int) {
  brokenPipes = brokenPipes + 1;
}

class OpsConnection : public RoomTest {
 protected:
  OpsConnection() {
    sigset_t pipe;
    sigemptyset(&pipe);
    sigaddset(&pipe, SIGPIPE);
    pthread_sigmask(SIG_BLOCK, &pipe, &m_mask);
    m_handler = signal(SIGPIPE, countBrokenPipe);
    brokenPipes = 0;
    running = 1;
  }
  ~OpsConnection() override {
    signal(SIGPIPE, m_handler);
    pthread_sigmask(SIG_SETMASK, &m_mask, nullptr);
    running = 1;
  }

  void connect() {
    ASSERT_TRUE(m_peer.listening());
    ASSERT_EQ(m_socket.StartTcpClient(), 0);
    ASSERT_TRUE(m_peer.accept());
  }

  OpsPeer m_peer;
  IssSocket m_socket;

 private:
  sigset_t m_mask;
  sighandler_t m_handler;
};

TEST_F(OpsConnection, MakesAConnectionWithoutALine) {
  connect();
  int fd = -1;
  EXPECT_EQ(m_socket.getFd(fd), 0);
  EXPECT_GE(fd, 0);
  EXPECT_EQ(fcntl(fd, F_GETFL) & O_NONBLOCK, 0) << "a read is to wait for what comes";
  EXPECT_THAT(lines(), IsEmpty());
  EXPECT_EQ(m_socket.close(), 0);
}

TEST_F(OpsConnection, CarriesWholeRecordsBothWays) {
  connect();
  const OtnIpcMsg out =
      recordOf({ofType(REDUNDANCY_STATE), {"state", 3}, octet(lastPayloadByte, 0xA5), octet(lastByte, 0x5A)});
  EXPECT_EQ(m_socket.sentPacket(&out, 6924), 6924);
  OtnIpcMsg arrived;
  ASSERT_TRUE(m_peer.receive(arrived));
  EXPECT_EQ(bytesOf(arrived), bytesOf(out));

  ASSERT_TRUE(m_peer.send(recordBytes({ofType(WATCH_DOG_ISS_ACTIVE), octet(lastByte, 9)})));
  OtnIpcMsg in{};
  size_t have = 0;
  while (have < sizeof in) {
    const ssize_t n = m_socket.getPacket(reinterpret_cast<char*>(&in) + have, sizeof in - have);
    ASSERT_GT(n, 0);
    have += static_cast<size_t>(n);
  }
  EXPECT_TRUE(hasExactly(in, {ofType(WATCH_DOG_ISS_ACTIVE), octet(lastByte, 9)}));
  m_socket.close();
}

TEST_F(OpsConnection, DeliversPartOfAMessageAsItCame) {
  connect();
  ASSERT_TRUE(m_peer.send(std::string(100, 'x')));
  char buffer[6924];
  EXPECT_EQ(m_socket.getPacket(buffer, sizeof buffer), 100);
  ASSERT_TRUE(m_peer.send(std::string(50, 'y')));
  EXPECT_EQ(m_socket.getPacket(buffer, sizeof buffer), 50);
  m_socket.close();
}

TEST_F(OpsConnection, CountsWhatComesHoweverLittle) {
  connect();
  ASSERT_TRUE(m_peer.send("x"));
  const uint64_t before = linkCounts.received;
  char buffer[6924];
  EXPECT_EQ(m_socket.getPacket(buffer, sizeof buffer), 1);
  EXPECT_EQ(linkCounts.received, before + 1);
  m_peer.hangUp();
  EXPECT_EQ(m_socket.getPacket(buffer, sizeof buffer), 0);
  EXPECT_EQ(linkCounts.received, before + 1) << "an end is no message";
  m_socket.close();
}

TEST_F(OpsConnection, ReadsNothingOnceThePeerHasGone) {
  connect();
  m_peer.hangUp();
  char buffer[6924];
  EXPECT_EQ(m_socket.getPacket(buffer, sizeof buffer), 0);
  EXPECT_THAT(lines(), IsEmpty());
  m_socket.close();
}

TEST_F(OpsConnection, ReportsABrokenPipeAndHandlesTheSignal) {
  connect();
  m_peer.hangUp();
  const OtnIpcMsg msg{};
  // The first bytes after the peer's end are answered with a reset; what follows is the broken pipe.
  ASSERT_TRUE(waitFor([&] { return m_socket.sentPacket(&msg, sizeof msg) == -1 && brokenPipes != 0; }));
  EXPECT_EQ(lines().back(),
            logged("ERROR", "IssSocket", 81, "sentPacket", "Failed to send msg to ISS: Broken pipe"));
  sigset_t mask;
  pthread_sigmask(SIG_BLOCK, nullptr, &mask);
  EXPECT_EQ(sigismember(&mask, SIGPIPE), 1) << "it is let in for this moment only";
  m_socket.close();
}

TEST_F(OpsConnection, ReportsAFailedRead) {
  char buffer[16];
  EXPECT_EQ(m_socket.getPacket(buffer, sizeof buffer), -1);
  EXPECT_THAT(lines(), ElementsAre(logged("ERROR", "IssSocket", 92, "getPacket",
                                          "Failed to receive msg from ISS: Bad file descriptor")));
}

TEST_F(OpsConnection, CloseReportsOnStandardErrorOnly) {
  ::testing::internal::CaptureStderr();
  EXPECT_EQ(m_socket.close(), 0);
  EXPECT_EQ(::testing::internal::GetCapturedStderr(),
            "shutdown failed: Bad file descriptor\nclose failed: Bad file descriptor\n");
  EXPECT_THAT(lines(), IsEmpty());
}

TEST_F(OpsConnection, GivesUpASendToADeafPeerWhenTheProcessStops) {
  connect();
  const std::string bytes(6924, 'z');
  running = 0;
  ssize_t last = 0;
  for (int i = 0; i < 100000 && last != -1; ++i) last = m_socket.sentPacket(bytes.data(), bytes.size());
  EXPECT_EQ(last, -1);
  EXPECT_THAT(lines(), ElementsAre(logged("ERROR", "IssSocket", 81, "sentPacket",
                                          "Failed to send msg to ISS: Interrupted system call")));
  m_socket.close();
}

TEST_F(OpsConnection, GivesUpASendAtItsLimitAndEndsTheConnection) {
  connect();
  m_socket.limitSends(std::chrono::seconds(1));
  const OtnIpcMsg msg{};
  const auto began = std::chrono::steady_clock::now();
  while (m_socket.sentPacket(&msg, sizeof msg) == 6924) {
  }
  EXPECT_EQ(errno, ETIMEDOUT);
  EXPECT_GE(std::chrono::steady_clock::now() - began, std::chrono::seconds(1));
  EXPECT_THAT(lines(), ElementsAre(logged("ERROR", "IssSocket", 81, "sentPacket",
                                          "Failed to send msg to ISS: Connection timed out")));
  OtnIpcMsg in;
  EXPECT_EQ(m_socket.getPacket(&in, sizeof in), 0) << "the main thread learns of it as of any loss";
  m_socket.close();
}

TEST_F(OpsConnection, GivesUpASendToAPeerThatHasGoneAndDoesNotRead) {
  connect();
  m_peer.endOfStream();
  const std::string bytes(6924, 'z');
  std::atomic<ssize_t> last = 0;
  std::thread sender([&] {
    for (int i = 0; i < 100000 && last != -1; ++i) last = m_socket.sentPacket(bytes.data(), bytes.size());
  });
  const bool givenUp = waitFor([&] { return last == -1; });
  m_peer.hangUp();  // which ends every send
  sender.join();
  EXPECT_TRUE(givenUp);
  EXPECT_THAT(lines(), ElementsAre(logged("ERROR", "IssSocket", 81, "sentPacket",
                                          "Failed to send msg to ISS: Broken pipe")));
  m_socket.close();
}

TEST_F(OpsConnection, IsMarkedForTheSystemsDebugging) {
  takeSocketOptions();
  ASSERT_TRUE(m_peer.listening());
  ASSERT_EQ(m_socket.StartTcpClient(), 0);
  EXPECT_THAT(takeSocketOptions(), ElementsAre(SocketOption{SOL_SOCKET, SO_DEBUG, 1}));
  m_socket.close();
}

class NoOps : public RoomTest {};

TEST_F(NoOps, IsAWarningWithTheReason) {
  IssSocket socket;
  EXPECT_EQ(socket.StartTcpClient(), 1);
  EXPECT_THAT(lines(), ElementsAre(logged("WARNING", "IssSocket", 49, "StartTcpClient",
                                          "OPS socket connection failed (111): Connection refused\n")));
  int fd = -1;
  socket.getFd(fd);
  EXPECT_GE(fd, 0) << "the closed number is kept";
}

TEST_F(NoOps, LeavesNoDescriptorBehind) {
  IssSocket socket;
  int first = -1;
  int second = -1;
  socket.StartTcpClient();
  socket.getFd(first);
  socket.StartTcpClient();
  socket.getFd(second);
  EXPECT_EQ(first, second);
}

TEST_F(NoOps, IsToldWhenThereIsNoSocket) {
  IssSocket socket;
  {
    const NoDescriptors lack;
    EXPECT_EQ(socket.StartTcpClient(), 1);
  }
  EXPECT_THAT(lines(), ElementsAre(logged("WARNING", "IssSocket", 40, "StartTcpClient",
                                          "Opening OPS socket() failed (24): Too many open files\n")));
}

TEST_F(NoOps, IsToldWhenThereIsNoNetwork) {
  int result = -1;
  std::thread([&] {
    // Its loopback is down.
    if (unshare(CLONE_NEWNET) == 0) result = IssSocket().StartTcpClient();
  }).join();
  if (result == -1) GTEST_SKIP() << "no network of the test's own";
  EXPECT_EQ(result, 1);
  EXPECT_THAT(lines(), ElementsAre(logged("WARNING", "IssSocket", 49, "StartTcpClient",
                                          "OPS socket connection failed (101): Network is unreachable\n")));
}

class OwnPort : public RoomTest {
 protected:
  /// The system takes no other port than OPS's for what connects. False where it cannot be told so.
  static bool becomesTheOnlyPort() {
    std::ofstream range("/proc/sys/net/ipv4/ip_local_port_range");
    range << "8000 8000" << std::flush;
    return range.good();
  }
  static bool canBeListenedAt() {
    const int fd = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(8000);
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    const bool listens =
        bind(fd, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0 && listen(fd, 1) == 0;
    close(fd);
    return listens;
  }
};

TEST_F(OwnPort, IsNoConnectionAndIsFreeAtOnce) {
  // In a process of its own: the network of the other tests stays as it is.
  const pid_t child = fork();
  if (child == 0) {
    if (unshare(CLONE_NEWNET | CLONE_NEWNS) != 0 || !becomesTheOnlyPort()) _exit(77);
    bringLoopbackUp();
    IssSocket socket;
    if (socket.StartTcpClient() != 1) _exit(1);
    if (lines() != std::vector{logged("WARNING", "IssSocket", 49, "StartTcpClient",
                                      "OPS socket connection failed (111): Connection refused\n")}) {
      _exit(2);
    }
    _exit(canBeListenedAt() ? 0 : 3);
  }
  int status = 0;
  ASSERT_EQ(waitpid(child, &status, 0), child);
  ASSERT_TRUE(WIFEXITED(status));
  if (WEXITSTATUS(status) == 77) GTEST_SKIP() << "no network of the test's own";
  EXPECT_EQ(WEXITSTATUS(status), 0) << "1: connected to itself, 2: another line, 3: the port is taken";
}

}  // namespace
