#include "frame/ReceiveLoop.h"

#include <cstring>
#include <thread>

#include "Guard.h"
#include "frame/signals.h"
#include "link/IssSocket.h"
#include "process/running.h"
#include "stopPending.h"
#include "support/DebugTool.h"
#include "support/OpsPeer.h"
#include "support/Record.h"
#include "support/RingTest.h"
#include "support/waitFor.h"

namespace {

/// The loop on a thread that takes the main thread's place: stopped by the signal, as the daemon is.
class Loop : public RingTest {
 protected:
  static void SetUpTestSuite() {
    blockSignals();
    installSignalHandlers();
  }
  Loop() { running = 1; }
  ~Loop() override {
    if (m_thread.joinable()) stop();
    opsSocket.close();
    running = 1;
    otn::setStopping(false);
  }

  void start() {
    m_thread = std::thread([this] {
      ReceiveLoop(m_mainActivity, m_opsActivity, m_debugSocket, m_board, std::chrono::seconds(0)).run();
    });
  }
  void send(int sig) { pthread_kill(m_thread.native_handle(), sig); }
  void join() { m_thread.join(); }
  void stop() {
    send(SIGTERM);
    join();
  }
  bool logs(const std::string& line) {
    return waitFor([&] { return count(line) > 0; });
  }
  static std::string mainLine(const std::string& level, int number, const std::string& text) {
    return logged(level, "main", number, "main", text);
  }

  OpsPeer m_peer;
  SrvDbg m_debugSocket;
  CriticalActivity m_mainActivity;
  CriticalActivity m_opsActivity;
  boardUtils m_board;

 private:
  std::thread m_thread;
};

TEST_F(Loop, ServesOpsWithoutADebugSocket) {
  start();
  ASSERT_TRUE(m_peer.accept());
  ASSERT_TRUE(m_peer.send(recordBytes({ofType(WATCH_DOG_ISS_ACTIVE)})));
  EXPECT_TRUE(logs(mainLine("DEBUG2", 439, "Received ALIVE message\n")));
  int fd = -1;
  opsSocket.getFd(fd);
  const std::string number = std::to_string(fd);
  EXPECT_EQ(count(mainLine("DEBUG1", 249, "TrelvikFd=" + number + ", dbgservfd=-1, maxfd=" + number)), 1U);
  stop();
  EXPECT_EQ(count(mainLine("NOTICE", 280, "select call interrupted: Interrupted system call")), 0U);
  EXPECT_THAT(lines(), ::testing::Not(::testing::Contains(::testing::HasSubstr("still outstanding"))));
}

TEST_F(Loop, TakesWhatDidNotComeForZero) {
  start();
  ASSERT_TRUE(m_peer.accept());
  ASSERT_TRUE(m_peer.send(recordBytes({ofType(CPU_THRESHOLD), {"threadName", "of the record before"}})));
  ASSERT_TRUE(logs(mainLine("INFO", 444, "CPU exceeds threshold for thread of the record before\n")));
  ASSERT_TRUE(m_peer.send(ofType(CPU_THRESHOLD).bytes));
  EXPECT_TRUE(logs(mainLine("INFO", 444, "CPU exceeds threshold for thread \n")));
}

TEST_F(Loop, QueuesADebugRequestAsOneOfOne) {
  const int32_t index = writepointer;
  {
    const Guard guard(&mutex);
    MsgArray[index].msgNo = 7;
  }
  ASSERT_EQ(m_debugSocket.StartUdpServer(), 0);
  DebugTool tool;
  start();
  ASSERT_TRUE(tool.send(recordBytes({ofType(FLUSH_CMD)})));
  ASSERT_TRUE(waitFor([&] { return writepointer != index; }));
  const Guard guard(&mutex);
  const MsgArrayEntry& slot = MsgArray[index];
  EXPECT_EQ(slot.source, MsgSource::Debug);
  EXPECT_EQ(slot.msgNo, 1);
  EXPECT_EQ(slot.msgCount, 1);
}

TEST_F(Loop, TellsEverySignalThatIsPendingAtItsEnd) {
  start();
  ASSERT_TRUE(m_peer.accept());
  // Behind the look at the ring that follows the connection.
  ASSERT_TRUE(m_peer.send(recordBytes({ofType(WATCH_DOG_ISS_ACTIVE)})));
  ASSERT_TRUE(logs(mainLine("DEBUG2", 439, "Received ALIVE message\n")));
  {
    // The loop waits for the ring, so that all of them are pending together.
    const Guard guard(&mutex);
    const std::string received = mainLine("DEBUG3", 322,
                                          "Message from OPS received: RP=" + std::to_string(readpointer) +
                                              " WP=" + std::to_string(writepointer) + "\n");
    ASSERT_TRUE(m_peer.send(recordBytes({ofType(WATCH_DOG_ISS_ACTIVE)})));
    ASSERT_TRUE(waitFor([&] { return count(received) > 1; }));
    for (const int sig : {SIGTERM, SIGINT, SIGQUIT, SIGPIPE}) send(sig);
  }
  join();
  for (const int sig : {SIGINT, SIGQUIT, SIGTERM}) {
    const std::string line = logged("NOTICE", "main", 66, "handle_sig",
                                    std::string("Signal ") + strsignal(sig) + " (" + std::to_string(sig) +
                                        ") received: killing  and stopping threads");
    EXPECT_EQ(count(line), 1U) << line;
  }
  EXPECT_EQ(count(logged("NOTICE", "main", 76, "handle_sig_pipe", "Signal Broken pipe (13) received")), 1U);
}

}  // namespace
