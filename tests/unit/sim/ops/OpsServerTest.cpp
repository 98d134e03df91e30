#include "ops/OpsServer.h"

#include <gmock/gmock.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <optional>
#include <thread>

#include "sim/support/OpsClient.h"
#include "sim/support/TemporaryDirectory.h"

namespace {

using ::testing::HasSubstr;

class OpsServer : public ::testing::Test {
 protected:
  OpsServer() {
    m_options.port = 0;
    m_options.keepAlive = std::chrono::milliseconds(0);
  }
  ~OpsServer() override {
    stop();
    close(m_stop);
    if (m_output) fclose(m_output);
  }

  void start() {
    m_output = fopen(m_directory.path("out").c_str(), "we");
    ASSERT_NE(m_output, nullptr);
    m_lines.emplace(fileno(m_output));
    m_server.emplace(m_options, m_loop, m_model, *m_lines);
    std::string reason;
    ASSERT_TRUE(m_server->listen(reason)) << reason;
    m_thread = std::thread([this] { m_loop.run(m_stop); });
  }
  /// The server's thread is gone; returns what it printed.
  std::string stop() {
    if (m_thread.joinable()) {
      eventfd_write(m_stop, 1);
      m_thread.join();
    }
    return m_directory.read("out");
  }

  TemporaryDirectory m_directory;
  sim::ServerOptions m_options;
  sim::IssModel m_model;
  sim::EventLoop m_loop;
  std::optional<sim::OpsServer> m_server;

 private:
  int m_stop = eventfd(0, EFD_CLOEXEC);
  FILE* m_output = nullptr;
  std::optional<sim::LineOutput> m_lines;
  std::thread m_thread;
};

TEST_F(OpsServer, GreetsAClientWithItsStartAndTheRestoreResult) {
  start();
  OpsClient client(m_server->port());
  EXPECT_EQ(client.next().msgType, TASK_INIT_STATUS);
  const OtnIpcMsg restored = client.next();
  EXPECT_EQ(restored.msgType, MSR_RELOAD_STATUS);
  EXPECT_EQ(restored.payload.msrReload.reloadStatus, 0);
}

TEST_F(OpsServer, ReportsAFailedRestore) {
  m_options.restore = sim::Restore::fail;
  m_options.restoreDelay = std::chrono::milliseconds(1);
  start();
  OpsClient client(m_server->port());
  EXPECT_EQ(client.next().msgType, TASK_INIT_STATUS);
  EXPECT_NE(client.next().payload.msrReload.reloadStatus, 0);
}

TEST_F(OpsServer, DelaysTheRestoreResult) {
  m_options.restoreDelay = std::chrono::milliseconds(150);
  start();
  const auto before = std::chrono::steady_clock::now();
  OpsClient client(m_server->port());
  client.next();
  EXPECT_EQ(client.next().msgType, MSR_RELOAD_STATUS);
  EXPECT_GE(std::chrono::steady_clock::now() - before, std::chrono::milliseconds(150));
}

TEST_F(OpsServer, SendsKeepAlives) {
  m_options.restore = sim::Restore::none;
  m_options.keepAlive = std::chrono::milliseconds(5);
  start();
  OpsClient client(m_server->port());
  EXPECT_EQ(client.next().msgType, TASK_INIT_STATUS);
  EXPECT_EQ(client.next().msgType, WATCH_DOG_ISS_ACTIVE);
  EXPECT_EQ(client.next().msgType, WATCH_DOG_ISS_ACTIVE);
}

class OpsServerClient : public OpsServer {
 protected:
  void SetUp() override {
    m_options.restore = sim::Restore::none;
    start();
    m_client.emplace(m_server->port());
    m_client->next();
  }
  std::optional<OpsClient> m_client;
};

TEST_F(OpsServerClient, GetsItsRequestsAnsweredInOrder) {
  m_client->send(record(FLUSH_CMD));
  m_client->send(record(SYNCE_CMD));
  EXPECT_EQ(m_client->next().msgType, FLUSH_CMD);
  const OtnIpcMsg msg = m_client->next();
  EXPECT_EQ(msg.msgType, SYNCE_CMD);
  EXPECT_EQ(fieldText(msg.errorString), ops::noError);
  EXPECT_EQ(msg.isResponse, 1);
}

TEST_F(OpsServerClient, MaySplitARecordAnywhere) {
  const OtnIpcMsg request = record(FLUSH_CMD);
  const char* bytes = reinterpret_cast<const char*>(&request);
  for (const size_t cut : {size_t{1}, size_t{4}, size_t{6412}, sizeof request - 1}) {
    m_client->sendBytes(bytes, cut);
    EXPECT_TRUE(m_client->hasNothing());
    m_client->sendBytes(bytes + cut, sizeof request - cut);
    EXPECT_EQ(m_client->next().msgType, FLUSH_CMD);
  }
}

TEST_F(OpsServerClient, MayJoinRecords) {
  std::string bytes;
  for (uint32_t i = 0; i < 50; ++i) {
    OtnIpcMsg request = record(FLUSH_CMD);
    request.payload.flush.vpn = i;
    bytes.append(reinterpret_cast<const char*>(&request), sizeof request);
  }
  std::thread writer([&] { m_client->sendBytes(bytes.data(), bytes.size()); });
  for (uint32_t i = 0; i < 50; ++i) EXPECT_EQ(m_client->next().payload.flush.vpn, i);
  writer.join();
}

TEST_F(OpsServerClient, MakesRoomForTheNextWhenItGoes) {
  m_client->sendBytes("abc", 3);
  OtnIpcMsg request = record(REDUNDANCY_STATE);
  OpsClient waiting(m_server->port());
  waiting.send(request);
  m_client.reset();
  EXPECT_EQ(waiting.next().msgType, TASK_INIT_STATUS);
  EXPECT_EQ(waiting.next().msgType, REDUNDANCY_STATE);
  EXPECT_THAT(stop(), HasSubstr(" <- partial record, 3 of 6924 bytes: 616263\n"));
}

TEST_F(OpsServerClient, SeesEachRecordPrintedOnOneLine) {
  OtnIpcMsg request = record(FLUSH_CMD);
  request.payload.flush = {7, 2};
  m_client->send(request);
  m_client->next();
  const std::string output = stop();
  EXPECT_THAT(output,
              ::testing::ContainsRegex(
                  "\n[0-2][0-9]:[0-5][0-9]:[0-6][0-9]\\.[0-9]{3} <- FLUSH_CMD \\[16\\] vpn=7 vp=2\n"));
  EXPECT_THAT(output, HasSubstr(" -> TASK_INIT_STATUS [2]\n"));
  EXPECT_THAT(output, HasSubstr(" -> FLUSH_CMD [16] vpn=7 vp=2 errorString=\"No Error\\r\\n\" "
                                "errorValue=0,0,0,0 status=0 isResponse=1\n"));
}

TEST_F(OpsServer, PrintsNoRecordWhenQuiet) {
  m_options.quiet = true;
  start();
  OpsClient client(m_server->port());
  client.next();
  client.next();
  client.send(record(FLUSH_CMD));
  client.next();
  const std::string output = stop();
  EXPECT_THAT(output, HasSubstr("listening on 127.0.0.1:"));
  EXPECT_THAT(output, ::testing::Not(HasSubstr("FLUSH_CMD")));
  EXPECT_THAT(output, ::testing::Not(HasSubstr("TASK_INIT_STATUS")));
}

TEST_F(OpsServer, StopsThoughItsClientReadsNothing) {
  m_options.keepAlive = std::chrono::milliseconds(1);
  start();
  OpsClient client(m_server->port());
  client.next();
  const OtnIpcMsg request = record(FLUSH_CMD);
  for (int i = 0; i < 20; ++i) client.send(request);
  EXPECT_THAT(stop(), HasSubstr("client connected\n"));
}

}  // namespace
