#include "link/issComm.h"

#include <pthread.h>

#include "Guard.h"
#include "link/IssSocket.h"
#include "support/OpsPeer.h"
#include "support/Record.h"
#include "support/RingTest.h"
#include "support/waitFor.h"

namespace {

using ::testing::ElementsAre;

std::string senderLine(const std::string& level, int number, const std::string& text) {
  return logged(level, "main", number, "iss_comm", text);
}
const std::string startedLine = senderLine("INFO", 717, "Started thread: message handling to OPS\n");
const std::string wokenForWork = senderLine("DEBUG3", 726, "iss thread: signal otn msg ready received\n");
const std::string wokenForAnswer = senderLine("DEBUG3", 741, "iss thread: signal OPS msg ready received\n");
const std::string answerSeen = senderLine("DEBUG3", 747, "Received signal OPS is ready processing\n");

class Sender : public RingTest {
 protected:
  void SetUp() override {
    ASSERT_TRUE(m_peer.listening());
    ASSERT_EQ(opsSocket.StartTcpClient(), 0);
    ASSERT_TRUE(m_peer.accept());
  }
  void TearDown() override {
    stop();
    opsSocket.close();
  }

  void start() {
    ASSERT_EQ(pthread_create(&m_thread, nullptr, iss_comm, nullptr), 0);
    m_started = true;
  }
  /// As the main thread does it: the sender may be between its test of `running` and its wait.
  void stop() {
    if (!m_started) return;
    running = 0;
    const bool joined = waitFor([this] {
      pthread_cond_signal(&cond);
      pthread_cond_signal(&cond2);
      return pthread_tryjoin_np(m_thread, nullptr) == 0;
    });
    ASSERT_TRUE(joined);
    m_started = false;
  }

  static void queue(uint32_t state) {
    const Guard guard(&mutex);
    MsgArrayEntry& slot = copyToSlot(recordOf({ofType(REDUNDANCY_STATE), {"state", state}}));
    slot.source = MsgSource::Redundancy;
    advanceWritePointer();
    pthread_cond_signal(&cond);
  }
  static void issComesUp() {
    const Guard guard(&mutex);
    issReady = 1;
    pthread_cond_signal(&cond);
  }
  /// What the main thread does when it has routed an answer.
  static void answerRouted() {
    const Guard guard(&mutex);
    consumeSlot();
    IssProcessing = 0;
    pthread_cond_signal(&cond2);
  }
  static int processing() {
    const Guard guard(&mutex);
    return IssProcessing;
  }
  void expectNext(uint32_t state) {
    OtnIpcMsg msg;
    ASSERT_TRUE(m_peer.receive(msg));
    EXPECT_TRUE(hasExactly(msg, {ofType(REDUNDANCY_STATE), {"state", state}}));
  }
  /// Wakes a wait until the sender has logged its wake-up `times` more.
  bool wake(pthread_cond_t* which, const std::string& line, size_t times) {
    const size_t wanted = count(line) + times;
    return waitFor([&] {
      pthread_cond_signal(which);
      return count(line) >= wanted;
    });
  }

  OpsPeer m_peer;

 private:
  pthread_t m_thread{};
  bool m_started = false;
};

TEST_F(Sender, SendsNothingUntilIssIsReadyAndThenInOrder) {
  queue(1);
  queue(2);
  start();
  ASSERT_TRUE(wake(&cond, wokenForWork, 2));
  EXPECT_FALSE(m_peer.hasInput(0));
  issComesUp();
  expectNext(1);
  answerRouted();
  expectNext(2);
}

TEST_F(Sender, HasOneMessageOutstanding) {
  issReady = 1;
  readpointer = 18;
  writepointer = 18;
  for (uint32_t state = 0; state < 4; ++state) queue(state);
  start();
  for (uint32_t state = 0; state < 4; ++state) {
    expectNext(state);
    ASSERT_TRUE(waitFor([] { return processing() == 1; }));
    pthread_cond_signal(&cond);
    EXPECT_FALSE(m_peer.hasInput(20)) << "message " << state << " is still unanswered";
    answerRouted();
  }
  EXPECT_EQ(readpointer, 2) << "wrapped";
}

TEST_F(Sender, NeitherConsumesNorAdvances) {
  issReady = 1;
  queue(5);
  start();
  expectNext(5);
  ASSERT_TRUE(waitFor([] { return processing() == 1; }));
  const Guard guard(&mutex);
  EXPECT_TRUE(answerOutstanding);
  EXPECT_EQ(readpointer, 0);
  EXPECT_EQ(writepointer, 1);
  EXPECT_EQ(MsgArray[0].source, MsgSource::Redundancy);
}

TEST_F(Sender, IsNotReleasedByAClearedFlagAlone) {
  issReady = 1;
  queue(1);
  queue(2);
  start();
  expectNext(1);
  ASSERT_TRUE(waitFor([] { return processing() == 1; }));
  {
    const Guard guard(&mutex);
    IssProcessing = 0;
  }
  pthread_cond_signal(&cond);
  EXPECT_FALSE(m_peer.hasInput(50));
  EXPECT_EQ(count(answerSeen), 0U);
  answerRouted();
  expectNext(2);
}

TEST_F(Sender, IsNotReleasedByASignalWhileTheFlagIsSet) {
  issReady = 1;
  queue(1);
  queue(2);
  start();
  expectNext(1);
  ASSERT_TRUE(wake(&cond2, wokenForAnswer, 2));
  EXPECT_EQ(count(answerSeen), 0U);
  EXPECT_FALSE(m_peer.hasInput(0));
  answerRouted();
  expectNext(2);
}

TEST_F(Sender, SendsNothingTwiceWhenItsWaitEndsWithoutAnAnswer) {
  issReady = 1;
  queue(1);
  start();
  expectNext(1);
  ASSERT_TRUE(waitFor([] { return processing() == 1; }));
  {
    const Guard guard(&mutex);
    IssProcessing = 0;
  }
  ASSERT_TRUE(wake(&cond2, wokenForAnswer, 1));
  EXPECT_FALSE(m_peer.hasInput(50));
  EXPECT_EQ(count(answerSeen), 0U);
}

TEST_F(Sender, KeepsWhenItSent) {
  issReady = 1;
  const auto before = std::chrono::steady_clock::now();
  queue(1);
  start();
  expectNext(1);
  const auto after = std::chrono::steady_clock::now();
  const Guard guard(&mutex);
  EXPECT_GE(answerSentAt, before);
  EXPECT_LE(answerSentAt, after);
}

TEST_F(Sender, LogsEachStepOfAMessage) {
  issReady = 1;
  queue(1);
  start();
  expectNext(1);
  ASSERT_TRUE(waitFor([] { return processing() == 1; }));
  answerRouted();
  ASSERT_TRUE(waitFor([this] { return lines().size() >= 8; }));
  EXPECT_THAT(lines(),
              ElementsAre(startedLine, senderLine("DEBUG3", 721, "iss thread: mutex lock rp:0 wp:1\n"),
                          senderLine("DEBUG3", 733, "iss thread: sending msg to OPS rp:0 wp:1 source:6\n"),
                          senderLine("DEBUG3", 735, "Sending packet to OPS\n"), wokenForAnswer, answerSeen,
                          senderLine("DEBUG3", 748, "iss thread: mutex unlock\n"),
                          senderLine("DEBUG3", 721, "iss thread: mutex lock rp:1 wp:1\n")));
}

TEST_F(Sender, WaitsForAnAnswerAlsoAfterAFailedSend) {
  signal(SIGPIPE, SIG_IGN);
  opsSocket.close();
  issReady = 1;
  queue(1);
  start();
  ASSERT_TRUE(waitFor([] { return processing() == 1; }));
  EXPECT_EQ(count(senderLine("DEBUG3", 735, "Sending packet to OPS\n")), 1U);
  stop();
  signal(SIGPIPE, SIG_DFL);
  ASSERT_EQ(opsSocket.StartTcpClient(), 0);
}

TEST_F(Sender, StopsWhileItWaitsForWork) {
  start();
  ASSERT_TRUE(wake(&cond, wokenForWork, 1));
  stop();
  EXPECT_EQ(lines().back(), senderLine("DEBUG1", 728, "iss_comm thread stopped"));
  EXPECT_EQ(pthread_mutex_trylock(&mutex.native), 0);
  pthread_mutex_unlock(&mutex.native);
}

TEST_F(Sender, StopsWhileItWaitsForIss) {
  queue(1);
  start();
  ASSERT_TRUE(wake(&cond, wokenForWork, 1));
  stop();
  EXPECT_EQ(lines().back(), senderLine("DEBUG1", 728, "iss_comm thread stopped"));
  EXPECT_FALSE(m_peer.hasInput(0));
}

TEST_F(Sender, StopsWhileItWaitsForAnAnswer) {
  issReady = 1;
  queue(1);
  start();
  expectNext(1);
  ASSERT_TRUE(waitFor([] { return processing() == 1; }));
  stop();
  EXPECT_EQ(lines().back(), senderLine("DEBUG1", 743, "iss_comm thread stopped"));
  EXPECT_EQ(pthread_mutex_trylock(&mutex.native), 0);
  pthread_mutex_unlock(&mutex.native);
}

TEST_F(Sender, DoesNotBeginInAStoppedProcess) {
  running = 0;
  start();
  stop();
  EXPECT_THAT(lines(), ElementsAre(startedLine, senderLine("DEBUG1", 750, "iss_comm thread stopped")));
}

}  // namespace
