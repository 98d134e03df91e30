// The simulator as a program: its command line, its exit statuses, its life without a reader.
#include <arpa/inet.h>
#include <gmock/gmock.h>
#include <sys/socket.h>

#include "OtnIpcMsg.h"
#include "Program.h"

namespace {

using ::testing::HasSubstr;
using ::testing::MatchesRegex;
using ::testing::StartsWith;

/// The port of a simulator that was started with --port 0.
std::string portOf(Program& simulator) {
  const std::string line = simulator.line();
  EXPECT_THAT(line, MatchesRegex("..:..:..\\.... listening on 127\\.0\\.0\\.1:[0-9]+"));
  return line.substr(line.rfind(':') + 1);
}

TEST(IssSim, PrintsItsUsage) {
  Program simulator({ISS_SIM, "--help"});
  EXPECT_THAT(simulator.output(), StartsWith("Usage: iss-sim [OPTION]...\n"));
  EXPECT_EQ(simulator.wait(), 0);
}

class WrongCommandLine : public ::testing::TestWithParam<std::vector<std::string>> {};

TEST_P(WrongCommandLine, GetsTheUsageAndStatus2) {
  std::vector<std::string> arguments = GetParam();
  arguments.insert(arguments.begin(), ISS_SIM);
  Program simulator(arguments);
  EXPECT_EQ(simulator.output(), "");
  EXPECT_THAT(simulator.errors(), HasSubstr("Usage: iss-sim [OPTION]...\n"));
  EXPECT_EQ(simulator.wait(), 2);
}

using Arguments = std::vector<std::string>;
INSTANTIATE_TEST_SUITE_P(IssSim, WrongCommandLine,
                         ::testing::Values(Arguments{"--nonsense"}, Arguments{"8000"}, Arguments{"--port"},
                                           Arguments{"--port", "65536"}, Arguments{"--port", "x"},
                                           Arguments{"--port", ""}, Arguments{"--restore", "maybe"},
                                           Arguments{"--restore-delay", "-1"},
                                           Arguments{"--keepalive", "1s"}));

TEST(IssSim, SaysInOneLineThatItsPortIsTaken) {
  Program first({ISS_SIM, "--port", "0"});
  const std::string port = portOf(first);
  Program second({ISS_SIM, "--port", port});
  EXPECT_EQ(second.output(), "");
  EXPECT_EQ(second.errors(), "iss-sim: 127.0.0.1:" + port + ": in use, is another instance running?\n");
  EXPECT_EQ(second.wait(), 1);
}

class StopSignal : public ::testing::TestWithParam<int> {};

TEST_P(StopSignal, EndsItWell) {
  Program simulator({ISS_SIM, "--port", "0"});
  portOf(simulator);
  simulator.signal(GetParam());
  EXPECT_EQ(simulator.wait(), 0);
}

INSTANTIATE_TEST_SUITE_P(IssSim, StopSignal, ::testing::Values(SIGTERM, SIGINT));

TEST(IssSim, WorksOnWhenNobodyReadsItsOutput) {
  Program simulator({ISS_SIM, "--port", "0", "--restore", "none"});
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_port = htons(static_cast<uint16_t>(std::stoi(portOf(simulator))));
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  simulator.closeOutput();
  const int fd = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  ASSERT_EQ(connect(fd, reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
  OtnIpcMsg msg{};
  EXPECT_EQ(recv(fd, &msg, sizeof msg, MSG_WAITALL), static_cast<ssize_t>(sizeof msg));
  msg.msgType = FLUSH_CMD;
  for (int i = 0; i < 3; ++i) {
    EXPECT_EQ(send(fd, &msg, sizeof msg, MSG_NOSIGNAL), static_cast<ssize_t>(sizeof msg));
    EXPECT_EQ(recv(fd, &msg, sizeof msg, MSG_WAITALL), static_cast<ssize_t>(sizeof msg));
    EXPECT_EQ(msg.isResponse, 1);
  }
  close(fd);
  simulator.signal(SIGTERM);
  EXPECT_EQ(simulator.wait(), 0);
}

}  // namespace
