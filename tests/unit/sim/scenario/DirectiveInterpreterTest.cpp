// Directives carried out by a server with a client.
#include "scenario/DirectiveInterpreter.h"

#include <gmock/gmock.h>
#include <sys/eventfd.h>

#include <optional>
#include <thread>

#include "sim/support/OpsClient.h"
#include "sim/support/TemporaryDirectory.h"

namespace {

using namespace std::chrono_literals;
using ::testing::HasSubstr;

constexpr size_t recordSize = sizeof(OtnIpcMsg);

class DirectiveInterpreter : public ::testing::Test {
 protected:
  DirectiveInterpreter() {
    m_options.port = 0;
    m_options.keepAlive = 0ms;
    m_output = fopen(m_directory.path("out").c_str(), "we");
    m_lines.emplace(fileno(m_output));
    m_server.emplace(m_options, m_loop, m_model, *m_lines);
    m_interpreter.emplace(*m_server, m_model, *m_lines);
  }
  ~DirectiveInterpreter() override {
    stop();
    close(m_stop);
    close(m_wake);
    close(m_done);
    fclose(m_output);
  }

  /// As a scenario.
  void start(std::initializer_list<const char*> lines) {
    for (const char* line : lines) ASSERT_EQ(m_interpreter->apply(line), std::nullopt) << line;
    std::string reason;
    ASSERT_TRUE(m_server->listen(reason)) << reason;
    m_loop.watch(m_wake, POLLIN, [this](short) {
      eventfd_t count = 0;
      eventfd_read(m_wake, &count);
      EXPECT_EQ(m_interpreter->apply(m_line), std::nullopt) << m_line;
      eventfd_write(m_done, 1);
    });
    m_thread = std::thread([this] { m_loop.run(m_stop); });
  }
  /// Live; returns when it is carried out.
  void inject(const char* line) {
    m_line = line;
    eventfd_write(m_wake, 1);
    eventfd_t count = 0;
    eventfd_read(m_done, &count);
  }
  bool printed(const std::string& text) const {
    return m_directory.read("out").find(text) != std::string::npos;
  }
  std::string stop() {
    if (m_thread.joinable()) {
      eventfd_write(m_stop, 1);
      m_thread.join();
    }
    return m_directory.read("out");
  }
  uint16_t port() const { return m_server->port(); }

  std::optional<sim::DirectiveInterpreter> m_interpreter;

 private:
  TemporaryDirectory m_directory;
  sim::ServerOptions m_options;
  sim::IssModel m_model;
  sim::EventLoop m_loop;
  FILE* m_output = nullptr;
  std::optional<sim::LineOutput> m_lines;
  std::optional<sim::OpsServer> m_server;
  std::thread m_thread;
  std::string m_line;
  int m_stop = eventfd(0, EFD_CLOEXEC);
  int m_wake = eventfd(0, EFD_CLOEXEC);
  int m_done = eventfd(0, EFD_CLOEXEC);
};

TEST_F(DirectiveInterpreter, GreetsInTheOrderWritten) {
  start({"startup alive 5ms restored init"});
  OpsClient client(port());
  EXPECT_EQ(client.next().msgType, uint32_t{WATCH_DOG_ISS_ACTIVE});
  EXPECT_EQ(client.next().msgType, uint32_t{MSR_RELOAD_STATUS});
  EXPECT_EQ(client.next().msgType, uint32_t{TASK_INIT_STATUS});
}

TEST_F(DirectiveInterpreter, WaitsForTheConnection) {
  start({"startup init", "on connect alive", "on connect after 1ms every 1ms times 2 cpu a 1"});
  for (int i = 0; i < 2; ++i) {
    OpsClient client(port());
    EXPECT_EQ(client.next().msgType, uint32_t{TASK_INIT_STATUS});
    EXPECT_EQ(client.next().msgType, uint32_t{WATCH_DOG_ISS_ACTIVE});
    EXPECT_EQ(client.next().msgType, uint32_t{CPU_THRESHOLD});
    EXPECT_EQ(client.next().msgType, uint32_t{CPU_THRESHOLD});
    inject("alive");
    EXPECT_EQ(client.next().msgType, uint32_t{WATCH_DOG_ISS_ACTIVE});
  }
}

TEST_F(DirectiveInterpreter, FollowsTheAnswerToARequest) {
  start({"startup none", "on FLUSH_CMD cpu flushed 1"});
  OpsClient client(port());
  client.send(record(SYNCE_CMD));
  client.send(record(FLUSH_CMD));
  EXPECT_EQ(client.next().msgType, uint32_t{SYNCE_CMD});
  EXPECT_EQ(client.next().msgType, uint32_t{FLUSH_CMD});
  EXPECT_EQ(client.next().msgType, uint32_t{CPU_THRESHOLD});
}

TEST_F(DirectiveInterpreter, KeepsToTheOccasionsOfADirective) {
  start({"startup none", "on FLUSH_CMD skip 1 times 2 cpu flushed 1"});
  OpsClient client(port());
  std::string types;
  for (int i = 0; i < 4; ++i) {
    client.send(record(FLUSH_CMD));
    client.send(record(SYNCE_CMD));
  }
  for (int i = 0; i < 10; ++i) {
    const uint32_t type = client.next().msgType;
    types += type == FLUSH_CMD ? 'f' : type == CPU_THRESHOLD ? 'c' : 's';
  }
  EXPECT_EQ(types, "fsfcsfcsfs");
}

TEST_F(DirectiveInterpreter, ChangesThePeriodOfKeepAlives) {
  start({"startup init"});
  OpsClient client(port());
  client.next();
  inject("keepalive 2ms");
  EXPECT_EQ(client.next().msgType, uint32_t{WATCH_DOG_ISS_ACTIVE});
  EXPECT_EQ(client.next().msgType, uint32_t{WATCH_DOG_ISS_ACTIVE});
  inject("keepalive off");
  inject("cpu last 1");
  while (client.next().msgType == WATCH_DOG_ISS_ACTIVE) {
  }
  EXPECT_TRUE(client.hasNothing());
}

TEST_F(DirectiveInterpreter, ReportsThePortsThatChange) {
  start({"startup init"});
  OpsClient client(port());
  client.next();
  inject("port 5 down");
  OtnIpcMsg report = client.next();
  EXPECT_EQ(report.msgType, uint32_t{PORT_STATUS_CHANGE_IND});
  EXPECT_EQ(report.payload.portStatus.interfaceNum, 5U);
  EXPECT_EQ(report.payload.portStatus.operationalStatus, 0);
  inject("port 5 down");
  inject("port 5 toggle");
  EXPECT_EQ(client.next().payload.portStatus.operationalStatus, 1);
  EXPECT_THAT(stop(), HasSubstr(" port 5 stays as it is\n"));
}

TEST_F(DirectiveInterpreter, SendsWhatADirectiveSaysPastTheFaults) {
  start({"startup init", "fault any drop", "fault CPU_THRESHOLD drop"});
  OpsClient client(port());
  client.next();
  client.send(record(FLUSH_CMD));
  inject("cpu dropped 1");
  inject("send CPU_THRESHOLD threadName=sent");
  EXPECT_EQ(fieldText(client.next().errorString), "sent");
  inject("raw 010203");
  EXPECT_EQ(client.bytes(3), "\x01\x02\x03");
  inject("garbage 20");
  client.bytes(20);
  inject("flood 100 WATCH_DOG_INTERVAL");
  for (int i = 0; i < 100; ++i) EXPECT_EQ(client.next().msgType, uint32_t{WATCH_DOG_INTERVAL});
  EXPECT_THAT(stop(), HasSubstr(" rule: any drop\n"));
}

TEST_F(DirectiveInterpreter, DelaysOneAnswerOnly) {
  start({"startup none", "fault FLUSH_CMD delay 100ms"});
  OpsClient client(port());
  const auto before = sim::Clock::now();
  client.send(record(FLUSH_CMD));
  client.send(record(SYNCE_CMD));
  EXPECT_EQ(client.next().msgType, uint32_t{SYNCE_CMD});
  EXPECT_EQ(client.next().msgType, uint32_t{FLUSH_CMD});
  EXPECT_GE(sim::Clock::now() - before, 100ms);
}

TEST_F(DirectiveInterpreter, SplitsAnAnswerIntoSeparatePieces) {
  start({"startup none", "fault FLUSH_CMD split 6412 pause 50ms"});
  OpsClient client(port());
  client.send(record(FLUSH_CMD));
  EXPECT_EQ(client.piece().size(), 6412U);
  EXPECT_EQ(client.piece().size(), recordSize - 6412);
}

TEST_F(DirectiveInterpreter, KeepsWhatFollowsBehindTheLastPiece) {
  start({"startup none", "fault FLUSH_CMD split 4000 pause 50ms"});
  OpsClient client(port());
  client.send(record(FLUSH_CMD));
  EXPECT_EQ(client.piece().size(), 4000U);
  inject("alive");
  client.bytes(recordSize - 4000);
  EXPECT_EQ(client.next().msgType, uint32_t{WATCH_DOG_ISS_ACTIVE});
}

TEST_F(DirectiveInterpreter, EndsTheConnectionWithinAnAnswer) {
  start({"startup none", "fault FLUSH_CMD times 1 close within 100"});
  {
    OpsClient client(port());
    client.send(record(FLUSH_CMD));
    EXPECT_EQ(client.rest().size(), 100U);
  }
  OpsClient client(port());
  client.send(record(FLUSH_CMD));
  EXPECT_EQ(client.next().msgType, uint32_t{FLUSH_CMD});
}

TEST_F(DirectiveInterpreter, ClosesBehindWhatWaits) {
  start({"startup none"});
  OpsClient client(port());
  client.send(record(FLUSH_CMD));
  client.next();
  inject("flood 50 16");
  inject("close");
  EXPECT_EQ(client.rest().size(), 50 * recordSize);
}

TEST_F(DirectiveInterpreter, RestartsIss) {
  start({"startup init"});
  {
    OpsClient client(port());
    client.next();
    OtnIpcMsg rule = record(INTERESTED_PACKET_IND);
    rule.payload.rule.actionCode = ops::actionCreate;
    rule.payload.rule.entryKind = ops::mstpRule;
    client.send(rule);
    EXPECT_EQ(client.next().payload.rule.fpId0, 1U);
    inject("restart 1ms");
    EXPECT_EQ(client.rest(), "");
  }
  while (!printed(" ISS is back, ")) std::this_thread::yield();
  OpsClient client(port());
  EXPECT_EQ(client.next().msgType, uint32_t{TASK_INIT_STATUS});
  OtnIpcMsg rule = record(INTERESTED_PACKET_IND);
  rule.payload.rule.actionCode = ops::actionDelete;
  rule.payload.rule.entryKind = ops::mstpRule;
  rule.payload.rule.fpId0 = 1;
  client.send(rule);
  EXPECT_NE(fieldText(client.next().errorString), ops::noError);
}

TEST_F(DirectiveInterpreter, StallsIss) {
  start({"startup init"});
  OpsClient client(port());
  client.next();
  const auto before = sim::Clock::now();
  inject("stall 100ms");
  client.send(record(FLUSH_CMD));
  EXPECT_EQ(client.next().msgType, uint32_t{FLUSH_CMD});
  EXPECT_GE(sim::Clock::now() - before, 100ms);
}

TEST_F(DirectiveInterpreter, ClearsTheSchedule) {
  start({"startup none", "every 1ms alive", "on FLUSH_CMD cpu x 1"});
  OpsClient client(port());
  EXPECT_EQ(client.next().msgType, uint32_t{WATCH_DOG_ISS_ACTIVE});
  inject("clear schedule");
  client.send(record(FLUSH_CMD));
  while (client.next().msgType == WATCH_DOG_ISS_ACTIVE) {
  }
  inject("cpu last 1");
  EXPECT_EQ(fieldText(client.next().errorString), "last");
}

TEST_F(DirectiveInterpreter, FloodsASlowClientWithWholeRecords) {
  start({"startup none"});
  OpsClient client(port());
  client.send(record(FLUSH_CMD));
  client.next();
  inject("flood 300 WATCH_DOG_INTERVAL");
  for (int i = 0; i < 300; ++i) {
    OtnIpcMsg msg{};
    EXPECT_EQ(client.read(&msg, sizeof msg), sizeof msg);
    EXPECT_EQ(msg.msgType, uint32_t{WATCH_DOG_INTERVAL});
  }
}

TEST_F(DirectiveInterpreter, PilesNothingUpForADeafClient) {
  start({"startup init"});
  OpsClient client(port());
  client.next();
  for (int i = 0; i < 100; ++i) inject("garbage 1000000");
  EXPECT_TRUE(printed(" the client takes nothing: this is left out\n"));
  inject("close reset");
  EXPECT_THAT(stop(), HasSubstr(" client connected\n"));
}

TEST_F(DirectiveInterpreter, LetsAClientGoThatNeverTookWhatWaits) {
  start({"startup init"});
  {
    OpsClient client(port());
    client.next();
    inject("flood 3000 WATCH_DOG_INTERVAL");
  }
  // Reset with its window shut: the next one must be served all the same.
  OpsClient next(port());
  EXPECT_EQ(next.next().msgType, uint32_t{TASK_INIT_STATUS});
  EXPECT_THAT(stop(), HasSubstr("(not sent, the connection ended, "));
}

TEST_F(DirectiveInterpreter, ChangesNothingForAWrongDirective) {
  start({"startup init"});
  EXPECT_NE(m_interpreter->apply("startup none nonsense"), std::nullopt);
  OpsClient client(port());
  EXPECT_EQ(client.next().msgType, uint32_t{TASK_INIT_STATUS});
}

}  // namespace
