// The simulator as a program: its command line, its exit statuses, its life without a reader.
#include <arpa/inet.h>
#include <gmock/gmock.h>
#include <sys/socket.h>

#include "OtnIpcMsg.h"
#include "sim/support/Program.h"
#include "sim/support/TemporaryDirectory.h"

namespace {

using ::testing::EndsWith;
using ::testing::MatchesRegex;
using ::testing::StartsWith;

/// The port of a simulator that was started with --port 0.
std::string portOf(Program& simulator) {
  const std::string line = simulator.line();
  EXPECT_THAT(line, MatchesRegex("..:..:..\\.... listening on 127\\.0\\.0\\.1:[0-9]+"));
  return line.substr(line.rfind(':') + 1);
}

std::string defaultPath(const std::string& port) {
  return "/tmp/iss-sim-" + std::to_string(geteuid()) + "/" + port + ".sock";
}

TEST(IssSim, PrintsTheUsageOfItsCommands) {
  const std::pair<const char*, const char*> commands[] = {{"show", "show SUBJECT"},
                                                          {"watch", "show SUBJECT"},
                                                          {"inject", "show SUBJECT"},
                                                          {"replay", "replay FILE"},
                                                          {"check", "check FILE"}};
  for (const auto& [command, usage] : commands) {
    for (const std::vector<std::string>& arguments : {std::vector<std::string>{ISS_SIM, command, "--help"},
                                                      {ISS_SIM, command, "-h"},
                                                      {ISS_SIM, "help", command}}) {
      Program simulator(arguments);
      EXPECT_THAT(simulator.output(), StartsWith("Usage: iss-sim " + std::string(usage)));
      EXPECT_EQ(simulator.wait(), 0);
    }
  }
}

TEST(IssSim, PrintsItsUsage) {
  for (const char* word : {"--help", "-h", "help"}) {
    Program simulator({ISS_SIM, word});
    EXPECT_THAT(simulator.output(), StartsWith("Usage: iss-sim [OPTION]...\n"));
    EXPECT_EQ(simulator.wait(), 0);
  }
}

TEST(IssSim, PrintsItsVersion) {
  Program simulator({ISS_SIM, "--version"});
  EXPECT_THAT(simulator.output(), MatchesRegex("iss-sim [0-9]+\\.[0-9]+\\.[0-9]+\n"));
  EXPECT_EQ(simulator.wait(), 0);
}

TEST(IssSim, TakesTimesWithTheirUnits) {
  Program simulator({ISS_SIM, "--port", "0", "--restore-delay", "900ms", "--keepalive", "1m"});
  portOf(simulator);
  simulator.signal(SIGTERM);
  EXPECT_EQ(simulator.wait(), 0);
}

TEST(IssSim, ChecksScenarios) {
  const TemporaryDirectory directory;
  const std::string good = directory.write("good", "# nothing\nstartup init\non connect alive\n");
  const std::string bad = directory.write(
      "bad",
      "startup init\n  fault any chance 5 drop\non FLUSH_CMD port 29 down # none\nsend 16 e=\"x\nrestore\n");
  Program first({ISS_SIM, "check", good});
  EXPECT_EQ(first.output(), good + ": 2 directives, no mistake\n");
  EXPECT_EQ(first.wait(), 0);
  Program second({ISS_SIM, "check", good, bad});
  EXPECT_EQ(second.errors(), bad + ":2:20: chance needs a percentage (25%, 0.5%), not 5\n" + bad +
                                 ":3:19: port needs ports from 1 to 28 (5 or 1-4,7), not 29\n" + bad +
                                 ":4:11: a quoted text does not end\n" + bad +
                                 ":5:8: restore needs ok or failed\n");
  EXPECT_EQ(second.wait(), 1);
  Program third({ISS_SIM, "check", directory.path("none"), good});
  EXPECT_EQ(third.errors(), "iss-sim: " + directory.path("none") + ": No such file or directory\n");
  EXPECT_EQ(third.wait(), 2);
}

struct Wrong {
  std::vector<std::string> arguments;
  std::string reason;
};

class IssSimMisuse : public ::testing::TestWithParam<Wrong> {};

TEST_P(IssSimMisuse, GetsOneLineAndStatus2) {
  std::vector<std::string> arguments = GetParam().arguments;
  arguments.insert(arguments.begin(), ISS_SIM);
  Program simulator(arguments);
  EXPECT_EQ(simulator.output(), "");
  EXPECT_EQ(simulator.errors(), "iss-sim: " + GetParam().reason + "\n");
  EXPECT_EQ(simulator.wait(), 2);
}

INSTANTIATE_TEST_SUITE_P(
    IssSim, IssSimMisuse,
    ::testing::Values(
        Wrong{{"--nonsense"}, "unknown option --nonsense"}, Wrong{{"-x"}, "unknown option -x"},
        Wrong{{"8000"}, "unexpected argument \"8000\""}, Wrong{{"--port"}, "--port needs a value"},
        Wrong{{"--port", "65536"}, "--port: bad value \"65536\""},
        Wrong{{"--port", "x"}, "--port: bad value \"x\""}, Wrong{{"--port", ""}, "--port: bad value \"\""},
        Wrong{{"--restore", "maybe"}, "--restore: bad value \"maybe\""},
        Wrong{{"--restore-delay", "-1"}, "--restore-delay: bad value \"-1\""},
        Wrong{{"--keepalive", "1h"}, "--keepalive: bad value \"1h\""},
        Wrong{{"check"}, "check needs a scenario file"},
        Wrong{{"check", "--nonsense"}, "unknown option --nonsense"},
        Wrong{{"help", "me"}, "no command me to help with, only show, watch, inject, replay or check"},
        Wrong{{"--control", ""}, "--control: bad value \"\""},
        Wrong{{"show"},
              "show takes one of vlans, ports, interfaces, tunnels, rules, synce, lldp, smartsfp, "
              "redundancy, counters, messages, faults or schedule"},
        Wrong{{"show", "--port", "x", "ports"}, "--port: bad value \"x\""},
        Wrong{{"show", "ports", "--nonsense"}, "unknown option --nonsense"},
        Wrong{{"watch", "ports"}, "watch takes no \"ports\""},
        Wrong{{"watch", "--control"}, "--control needs a value"},
        Wrong{{"inject"}, "inject takes a directive"},
        Wrong{{"inject", "--json", "x"}, "inject takes no --json"},
        Wrong{{"inject", "a\nb"}, "a request is one line"},
        Wrong{{"show", "ports", "--control", std::string(200, 'x')},
              std::string(200, 'x') + ": no path for a socket"}));

TEST(IssSim, SaysInOneLineThatItsPortIsTaken) {
  Program first({ISS_SIM, "--port", "0"});
  const std::string port = portOf(first);
  Program second({ISS_SIM, "--port", port});
  EXPECT_EQ(second.output(), "");
  EXPECT_EQ(second.errors(), "iss-sim: 127.0.0.1:" + port + ": in use, is another instance running?\n");
  EXPECT_EQ(second.wait(), 1);
  first.signal(SIGTERM);
  EXPECT_EQ(first.wait(), 0);
}

TEST(IssSim, HasItsControlSocketWhereItsPortTells) {
  Program simulator({ISS_SIM, "--port", "0"});
  const std::string port = portOf(simulator);
  const auto limit = std::chrono::steady_clock::now() + std::chrono::seconds(20);
  while (access((defaultPath(port)).c_str(), F_OK) != 0) {
    ASSERT_LT(std::chrono::steady_clock::now(), limit);
  }
  Program show({ISS_SIM, "show", "redundancy", "--port", port});
  EXPECT_EQ(show.output(), "(none)\n");
  EXPECT_EQ(show.errors(), "");
  EXPECT_EQ(show.wait(), 0);
  simulator.signal(SIGTERM);
  EXPECT_EQ(simulator.wait(), 0);
  EXPECT_NE(access((defaultPath(port)).c_str(), F_OK), 0);
}

class ControlledIssSim : public ::testing::Test {
 protected:
  ControlledIssSim() { portOf(m_simulator); }

  Program command(std::vector<std::string> arguments) {
    arguments.insert(arguments.begin(), ISS_SIM);
    arguments.insert(arguments.end(), {"--control", m_path});
    return Program(arguments);
  }

  TemporaryDirectory m_directory;
  const std::string m_path = m_directory.path("control");
  Program m_simulator{{ISS_SIM, "--port", "0", "--control", m_path}};
};

TEST_F(ControlledIssSim, ShowsAsTextAndAsJson) {
  Program text = command({"show", "redundancy"});
  EXPECT_EQ(text.output(), "(none)\n");
  EXPECT_EQ(text.wait(), 0);
  Program json = command({"show", "redundancy", "--json"});
  EXPECT_EQ(json.output(), "{\"redundancy\": []}\n");
  EXPECT_EQ(json.wait(), 0);
}

TEST_F(ControlledIssSim, RefusesInOneLineAndGoesOn) {
  Program show = command({"show", "nonsense"});
  EXPECT_EQ(
      show.errors(),
      "iss-sim: cannot show nonsense, only vlans, ports, interfaces, tunnels, rules, synce, lldp, smartsfp, "
      "redundancy, counters, messages, faults or schedule\n");
  EXPECT_EQ(show.wait(), 2);
  Program inject = command({"inject", "nonsense"});
  EXPECT_THAT(inject.errors(), MatchesRegex("iss-sim: [^\n]*nonsense[^\n]*\n"));
  EXPECT_EQ(inject.wait(), 2);
  Program second({ISS_SIM, "--port", "0", "--control", m_path});
  EXPECT_EQ(second.errors(), "iss-sim: " + m_path + ": in use, is another instance running?\n");
  EXPECT_EQ(second.wait(), 1);
  EXPECT_EQ(access(m_path.c_str(), F_OK), 0);
  Program good = command({"show", "messages"});
  EXPECT_EQ(good.output(), "(none)\n");
  EXPECT_EQ(good.wait(), 0);
}

TEST(IssSim, SaysThatNoSimulatorAnswers) {
  Program show({ISS_SIM, "show", "ports", "--control", "/nowhere"});
  EXPECT_EQ(show.output(), "");
  EXPECT_EQ(show.errors(), "iss-sim: no simulator at /nowhere: No such file or directory\n");
  EXPECT_EQ(show.wait(), 1);
}

TEST(IssSim, GoesOnWithoutItsDefaultControlSocket) {
  Program first({ISS_SIM, "--port", "0"});
  const std::string port = portOf(first);
  const std::string path = defaultPath(port);
  first.signal(SIGTERM);
  EXPECT_EQ(first.wait(), 0);
  std::ofstream(path) << "in the way";
  Program second({ISS_SIM, "--port", port});
  portOf(second);
  EXPECT_THAT(second.line(),
              EndsWith(" no control socket: " + path + ": in use, is another instance running?"));
  unlink(path.c_str());
}

class IssSimStopSignal : public ::testing::TestWithParam<int> {};

TEST_P(IssSimStopSignal, EndsItWell) {
  Program simulator({ISS_SIM, "--port", "0"});
  portOf(simulator);
  simulator.signal(GetParam());
  EXPECT_EQ(simulator.wait(), 0);
}

INSTANTIATE_TEST_SUITE_P(IssSim, IssSimStopSignal, ::testing::Values(SIGTERM, SIGINT));

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
