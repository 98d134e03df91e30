#include "control/Control.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstring>

#include "base/UnixAddress.h"
#include "control/Show.h"
#include "sim/support/Record.h"
#include "sim/support/TemporaryDirectory.h"

namespace {

using ::testing::EndsWith;
using ::testing::HasSubstr;
using ::testing::MatchesRegex;
using ::testing::StartsWith;

class Control : public ::testing::Test {
 protected:
  void SetUp() override {
    std::string reason;
    ASSERT_TRUE(m_control.listen(m_path, reason)) << reason;
  }
  void TearDown() override {
    for (const int fd : m_clients) close(fd);
  }

  int connectClient(int receiveBuffer = 0) {
    const int fd = socket(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
    if (receiveBuffer > 0) setsockopt(fd, SOL_SOCKET, SO_RCVBUF, &receiveBuffer, sizeof receiveBuffer);
    sockaddr_un address;
    EXPECT_TRUE(sim::fillAddress(m_path, address));
    EXPECT_EQ(connect(fd, reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
    m_clients.push_back(fd);
    return fd;
  }
  void sendTo(int fd, std::string_view bytes) {
    ASSERT_EQ(send(fd, bytes.data(), bytes.size(), MSG_NOSIGNAL), static_cast<ssize_t>(bytes.size()));
  }
  /// Lets the control socket do all that it has to do now.
  void runAll() {
    for (int i = 0; i < 1000 && m_loop.runReady(); ++i) {
    }
  }
  /// What has come so far; `ended` tells whether the other side is closed.
  std::string received(int fd, bool* ended = nullptr) {
    std::string text;
    char bytes[65536];
    ssize_t n = 0;
    while ((n = recv(fd, bytes, sizeof bytes, 0)) > 0) {
      text.append(bytes, static_cast<size_t>(n));
      runAll();
    }
    if (ended) *ended = n == 0 || errno == ECONNRESET;
    return text;
  }
  std::string ask(std::string_view request) {
    const int fd = connectClient();
    sendTo(fd, request);
    runAll();
    bool ended = false;
    const std::string answer = received(fd, &ended);
    EXPECT_TRUE(ended) << answer;
    return answer;
  }
  void passFlush() { m_watch.onReceived(record(FLUSH_CMD), {}); }

  TemporaryDirectory m_directory;
  const std::string m_path = m_directory.path("control");
  sim::IssModel m_model;
  sim::Watch m_watch;
  std::string m_injected;
  std::optional<std::string> m_wrong;
  sim::EventLoop m_loop;
  sim::Control m_control{m_loop,
                         [this](const sim::ShowRequest& request) {
                           return sim::show(request.subject, m_model, m_watch.counts(), request.ports);
                         },
                         m_watch,
                         [this](std::string_view line) {
                           m_injected = line;
                           return m_wrong;
                         }};
  std::vector<int> m_clients;
};

TEST_F(Control, ShowsAsTextAndAsJson) {
  EXPECT_EQ(ask("show redundancy\n"), "ok\n(none)\n");
  EXPECT_EQ(ask("show redundancy --json\n"), "ok\n{\"redundancy\": []}\n");
  EXPECT_THAT(ask("show ports\n"), StartsWith("ok\nport  name "));
  EXPECT_EQ(ask("show ports 5,7-8\n"),
            "ok\nport  name                 admin  oper   mtu  pvid  vlans\n"
            "   5  gigabitethernet_0/5  up     up    1500     1  1\n"
            "   7  gigabitethernet_0/7  up     up    1500     1  1\n"
            "   8  gigabitethernet_0/8  up     up    1500     1  1\n");
  EXPECT_THAT(ask("show ports 28 --json\n"), StartsWith("ok\n{\"ports\": [{\"port\": 28, "));
}

TEST_F(Control, RefusesWhatItDoesNotKnow) {
  EXPECT_THAT(ask("show nonsense\n"),
              MatchesRegex("error cannot show nonsense, only vlans, .* or schedule\n"));
  EXPECT_THAT(ask("show\n"), StartsWith("error cannot show \"\", only "));
  EXPECT_EQ(ask("show ports vlans\n"), "error show ports needs ports from 1 to 28 (5 or 1-4,7), not vlans\n");
  EXPECT_EQ(ask("show vlans 5\n"), "error show takes one subject and --json, and only ports takes which\n");
  EXPECT_EQ(ask("show ports --json x\n"), "error unexpected x\n");
  EXPECT_EQ(ask("show ports 5 --json x\n"), "error unexpected x\n");
  EXPECT_EQ(ask("watch x\n"), "error watch takes nothing but --json\n");
  EXPECT_EQ(ask("dance\n"), "error unknown request dance, not show, watch or inject\n");
  EXPECT_EQ(ask("\n"), "error unknown request \"\", not show, watch or inject\n");
  EXPECT_EQ(ask("x\x01\n"), "error unknown request \"x\\x01\", not show, watch or inject\n");
}

TEST_F(Control, PassesDirectivesOn) {
  EXPECT_EQ(ask("inject port 5 down\n"), "ok\n");
  EXPECT_EQ(m_injected, " port 5 down");
  m_wrong = "not now,\nreally";
  EXPECT_EQ(ask("inject x\n"), "error not now, really\n");
}

TEST_F(Control, TakesARequestInPieces) {
  const int fd = connectClient();
  sendTo(fd, "show redun");
  runAll();
  EXPECT_EQ(received(fd), "");
  sendTo(fd, "dancy\nand more\n");
  runAll();
  EXPECT_EQ(received(fd), "ok\n(none)\n");
}

TEST_F(Control, BoundsARequest) {
  const char* tooLong = "error the request is longer than 4096 bytes\n";
  EXPECT_EQ(ask(std::string(5000, 'x')), tooLong);
  EXPECT_EQ(ask("inject " + std::string(4090, 'x') + '\n'), tooLong);
  EXPECT_EQ(ask("inject " + std::string(4089, 'x') + '\n'), "ok\n");
}

TEST_F(Control, LetsClientsGoWithoutAWord) {
  close(connectClient());
  const int fd = connectClient();
  sendTo(fd, "show ports");
  shutdown(fd, SHUT_RDWR);
  runAll();
  EXPECT_EQ(ask("show redundancy\n"), "ok\n(none)\n");
}

TEST_F(Control, BoundsItsClients) {
  std::vector<int> clients;
  for (size_t i = 0; i < sim::Control::maxClients; ++i) {
    clients.push_back(connectClient());
    runAll();
  }
  EXPECT_EQ(ask(""), "error too many clients\n");
  sendTo(clients[0], "show redundancy\n");
  runAll();
  EXPECT_EQ(received(clients[0]), "ok\n(none)\n");
  EXPECT_EQ(ask("show redundancy\n"), "ok\n(none)\n");
}

TEST_F(Control, ShowsWatchersEachMessageFromThenOn) {
  passFlush();
  const int text = connectClient();
  const int json = connectClient();
  sendTo(text, "watch\n");
  sendTo(json, "watch --json\n");
  runAll();
  passFlush();
  bool ended = true;
  EXPECT_THAT(received(text, &ended), MatchesRegex("ok\n..:..:..\\.... <- FLUSH_CMD \\[16\\] vpn=0 vp=0\n"));
  EXPECT_FALSE(ended);
  EXPECT_THAT(received(json), StartsWith("ok\n{\"time\": "));
  passFlush();
  EXPECT_THAT(received(text), HasSubstr("FLUSH_CMD"));
  close(text);
  m_clients.erase(m_clients.begin());
  passFlush();
  runAll();
  passFlush();
  EXPECT_THAT(received(json), HasSubstr("FLUSH_CMD"));
}

TEST_F(Control, ServesAClientThatHasNoMoreToSay) {
  const int fd = connectClient();
  sendTo(fd, "watch\n");
  shutdown(fd, SHUT_WR);
  runAll();
  passFlush();
  bool ended = true;
  EXPECT_THAT(received(fd, &ended), HasSubstr("FLUSH_CMD"));
  EXPECT_FALSE(ended);
  shutdown(fd, SHUT_RD);
  runAll();
  passFlush();
  EXPECT_FALSE(m_loop.runReady());
}

TEST_F(Control, CountsWhatASlowWatcherMisses) {
  const int fd = connectClient();
  sendTo(fd, "watch\n");
  runAll();
  OtnIpcMsg alarm = record(CPU_THRESHOLD);
  memset(alarm.errorString, 'x', 490);
  const sim::Sent sent{&alarm, sizeof alarm};
  const std::string line = sim::watchLine({sim::Direction::out, sent});
  const size_t enough = 2 * sim::Control::maxBacklog / line.size();
  for (size_t i = 0; i < enough; ++i) m_watch.onSent(sent, {});
  const std::string first = received(fd);
  EXPECT_LT(first.size(), enough * line.size());
  passFlush();
  const std::string next = received(fd);
  EXPECT_THAT(next, MatchesRegex("\\([0-9]+ messages not shown\\)\n..:..:.*FLUSH_CMD.*\n"));
  const size_t shown = (first.size() - 3) / line.size();
  EXPECT_THAT(next, StartsWith("(" + std::to_string(enough - shown) + " messages"));
}

TEST_F(Control, WritesAnAnswerOfAnySize) {
  OtnIpcMsg request = record(INTERESTED_PACKET_IND);
  request.payload.rule.actionCode = ops::actionCreate;
  std::string notes;
  for (int i = 0; i < 20000; ++i) m_model.answer(request, notes);
  const std::string answer = ask("show rules --json\n");
  EXPECT_GT(answer.size(), 2000000U);
  EXPECT_THAT(answer.substr(answer.size() - 20), EndsWith("\"flushes\": []}\n"));
}

TEST_F(Control, IsForItsOwnerOnly) {
  struct stat status;
  ASSERT_EQ(stat(m_path.c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 0777, 0600U);
}

TEST_F(Control, IsNotTakenFromAnotherInstance) {
  sim::Watch watch;
  sim::Control second(m_loop, {}, watch, {});
  std::string reason;
  EXPECT_FALSE(second.listen(m_path, reason));
  EXPECT_EQ(reason, m_path + ": in use, is another instance running?");
}

TEST(ControlListen, TakesThePlaceOfOneThatIsGone) {
  const TemporaryDirectory directory;
  const std::string path = directory.path("control");
  const int fd = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
  sockaddr_un address;
  ASSERT_TRUE(sim::fillAddress(path, address));
  ASSERT_EQ(bind(fd, reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
  close(fd);
  sim::EventLoop loop;
  sim::Watch watch;
  std::string reason;
  {
    sim::Control control(loop, {}, watch, {});
    EXPECT_TRUE(control.listen(path, reason)) << reason;
  }
  EXPECT_NE(access(path.c_str(), F_OK), 0);
}

TEST(ControlListen, LeavesAFileAlone) {
  const TemporaryDirectory directory;
  const std::string path = directory.write("control", "precious");
  sim::EventLoop loop;
  sim::Watch watch;
  std::string reason;
  {
    sim::Control control(loop, {}, watch, {});
    EXPECT_FALSE(control.listen(path, reason));
  }
  EXPECT_EQ(reason, path + ": in use, is another instance running?");
  EXPECT_EQ(directory.read("control"), "precious");
}

TEST(ControlListen, SaysWhyItCannot) {
  sim::EventLoop loop;
  sim::Watch watch;
  sim::Control control(loop, {}, watch, {});
  std::string reason;
  EXPECT_FALSE(control.listen("/nowhere/at/all", reason));
  EXPECT_EQ(reason, "/nowhere/at/all: No such file or directory");
  const std::string tooLong(108, 'x');
  EXPECT_FALSE(control.listen(tooLong, reason));
  EXPECT_EQ(reason, tooLong + ": no path for a socket, 1 to 107 bytes");
}

}  // namespace
