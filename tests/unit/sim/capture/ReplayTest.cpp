#include "capture/Replay.h"

#include <gmock/gmock.h>
#include <sys/eventfd.h>

#include <thread>

#include "sim/support/OpsClient.h"
#include "sim/support/Program.h"
#include "sim/support/TemporaryDirectory.h"

namespace {

using namespace std::chrono_literals;
using sim::Direction;
using sim::Ending;
using ::testing::HasSubstr;
using ::testing::Not;

std::string bytesOf(const OtnIpcMsg& msg) {
  return {reinterpret_cast<const char*>(&msg), sizeof msg};
}

class Replay : public ::testing::Test {
 protected:
  Replay() { m_options.port = 0; }
  ~Replay() override {
    finish();
    close(m_stop);
  }

  void add(Direction direction, std::chrono::milliseconds when, std::string bytes) {
    m_connections.back().traffic.push_back({direction, when, std::move(bytes)});
  }
  uint16_t start() {
    m_output = fopen(m_directory.path("out").c_str(), "we");
    m_lines.emplace(fileno(m_output));
    m_replay.emplace(m_options, m_connections, *m_lines);
    std::string reason;
    EXPECT_TRUE(m_replay->listen(reason)) << reason;
    m_thread = std::thread([this] { m_replay->run(m_stop); });
    return m_replay->port();
  }
  /// Waits for the replay's own end; returns what it printed.
  std::string end() {
    m_thread.join();
    return m_directory.read("out");
  }

  TemporaryDirectory m_directory;
  sim::ReplayOptions m_options;
  std::vector<sim::CapturedConnection> m_connections{1};

 private:
  void finish() {
    if (m_thread.joinable()) {
      eventfd_write(m_stop, 1);
      m_thread.join();
    }
    if (m_output) fclose(m_output);
  }

  FILE* m_output = nullptr;
  std::optional<sim::LineOutput> m_lines;
  std::optional<sim::Replay> m_replay;
  std::thread m_thread;
  int m_stop = eventfd(0, EFD_CLOEXEC);
};

TEST_F(Replay, AnswersAsInTheCapture) {
  add(Direction::out, 0ms, bytesOf(record(TASK_INIT_STATUS)));
  add(Direction::in, 1ms, bytesOf(record(FLUSH_CMD)));
  add(Direction::out, 2ms, bytesOf(record(SYNCE_CMD)));
  m_connections[0].endedByIss = Ending::close;
  m_connections[0].ended = 3ms;
  OpsClient client(start());
  EXPECT_EQ(client.next().msgType, uint32_t{TASK_INIT_STATUS});
  EXPECT_TRUE(client.hasNothing());
  client.send(record(FLUSH_CMD));
  EXPECT_EQ(client.rest(), bytesOf(record(SYNCE_CMD)));
  const std::string output = end();
  EXPECT_THAT(output, HasSubstr(" <- FLUSH_CMD [16] "));
  EXPECT_THAT(output, HasSubstr(" -> SYNCE_CMD [14] "));
  EXPECT_THAT(output, HasSubstr(" the capture is played to its end\n"));
  EXPECT_THAT(output, Not(HasSubstr("something else")));
}

TEST_F(Replay, KeepsTheTimes) {
  add(Direction::out, 150ms, "late");
  const auto before = sim::Clock::now();
  OpsClient client(start());
  EXPECT_EQ(client.piece(), "late");
  EXPECT_GE(sim::Clock::now() - before, 150ms);
}

TEST_F(Replay, MayHurry) {
  m_options.fast = true;
  add(Direction::out, 24h, "at once");
  OpsClient client(start());
  EXPECT_EQ(client.piece(), "at once");
}

TEST_F(Replay, TellsAnotherRequestAndGoesOn) {
  add(Direction::in, 0ms, "expected");
  add(Direction::out, 0ms, "answer");
  {
    OpsClient client(start());
    client.sendBytes("expec", 5);
    client.sendBytes("TED", 3);
    EXPECT_EQ(client.piece(), "answer");
  }
  EXPECT_THAT(end(), HasSubstr(" the client sends something else than in the capture\n"));
}

TEST_F(Replay, PlaysOneConnectionAfterTheOther) {
  add(Direction::out, 0ms, "one");
  m_connections.push_back({});
  add(Direction::out, 0ms, "two");
  const uint16_t port = start();
  {
    OpsClient client(port);
    EXPECT_EQ(client.piece(), "one");
  }
  {
    OpsClient client(port);
    EXPECT_EQ(client.piece(), "two");
  }
  EXPECT_THAT(end(), HasSubstr("replaying connection 2\n"));
}

TEST_F(Replay, TellsAClientThatLeavesEarly) {
  add(Direction::in, 0ms, "awaited");
  add(Direction::out, 0ms, "never sent");
  {
    OpsClient client(start());
    // One that goes before it is served is nobody's.
    while (m_directory.read("out").find(" client connected") == std::string::npos) std::this_thread::yield();
  }
  EXPECT_THAT(end(), HasSubstr(" the capture's connection goes on for 2 more steps\n"));
}

struct Call {
  std::vector<std::string> arguments;
  std::string problem;
};

class WrongReplay : public ::testing::TestWithParam<Call> {};

TEST_P(WrongReplay, GetsOneLineAndStatus2) {
  std::vector<std::string> arguments = GetParam().arguments;
  arguments.insert(arguments.begin(), {ISS_SIM, "replay"});
  Program program(arguments);
  EXPECT_EQ(program.output(), "");
  EXPECT_EQ(program.errors(), "iss-sim: " + GetParam().problem + "\n");
  EXPECT_EQ(program.wait(), 2);
}

INSTANTIATE_TEST_SUITE_P(Replay, WrongReplay,
                         ::testing::Values(Call{{}, "replay needs one capture file"},
                                           Call{{"a", "b"}, "replay needs one capture file"},
                                           Call{{"--port", "x", "a"}, "--port: bad value \"x\""},
                                           Call{{"a", "--port"}, "--port needs a value"},
                                           Call{{"a", "--slow"}, "unknown option --slow"},
                                           Call{{"/nonexistent"}, "/nonexistent: No such file or directory"},
                                           Call{{"/dev/null"}, "/dev/null: not a regular file"},
                                           Call{{ISS_SIM},
                                                ISS_SIM ": block 1 at byte 0: not a pcapng file"}));

}  // namespace
