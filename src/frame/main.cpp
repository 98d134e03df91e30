// The daemon's process: start-up, the receive loop, shutdown.
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <cstring>

#include "TraceObject.h"
#include "boardUtils.h"
#include "frame/OutstandingAnswer.h"
#include "frame/ReceiveLoop.h"
#include "frame/mainPlace.h"
#include "frame/otnThread.h"
#include "frame/signals.h"
#include "link/CriticalActivity.h"
#include "link/IssSocket.h"
#include "link/MsgArray.h"
#include "link/SrvDbg.h"
#include "link/Traffic.h"
#include "link/issComm.h"
#include "process/deadline.h"
#include "process/intervals.h"
#include "process/threadCommon.h"
#include "services/pattern/ServicePattern.h"
#include "services/ports/boardMac.h"

namespace {

constexpr int startTraceLevel = 6;
constexpr int failed = -1;

bool parseOptions(int argc, char* argv[]) {
  bool noAcPort = false;
  opterr = 0;
  for (int option = 0; (option = getopt(argc, argv, "p")) != -1;) {
    if (option == 'p') {
      noAcPort = true;
    } else {
      LOG(ERROR, atMain, 139, "Unknown option %c", optopt);
    }
  }
  return noAcPort;
}

/// Such a board is one without "CSM" in its name: an operator who expected another is told.
void tellMissingName(const boardUtils& board) {
  if (getenv("BOARD_NAME") == nullptr && board.getName().empty()) {
    LOG(NOTICE, atMain, HERE,
        "the board has no name, so it is not handled as a \"CSM\" board; set BOARD_NAME where the hardware "
        "does not tell");
  }
}

/// The sender tests `running` and then waits: a signal in between is lost, so it is repeated.
void joinWaking(pthread_t thread) {
  for (;;) {
    wakeSenderToStop();
    if (pthread_tryjoin_np(thread, nullptr) == 0) return;
    sleepMilliseconds(wakeAgainInterval);
  }
}

struct Threads {
  pthread_t bus;
  pthread_t sender;
};

bool startThreads(Threads& threads, bool& noAcPort) {
  LOG(DEBUG3, atMain, 176, "starting threads");
  const ThreadAttributes attributes;
  int error = pthread_create(&threads.bus, attributes.get(), start_otn_comm, &noAcPort);
  if (error != 0) {
    LOG(ERROR, atMain, 181, "Failed to start OTN bus thread: %s", strerror(error));
    return false;
  }
  if (!waitForOtnThread()) {
    LOG(ERROR, atMain, 187, "Failed to start OTN bus thread");
    return false;
  }
  error = pthread_create(&threads.sender, attributes.get(), iss_comm, nullptr);
  if (error != 0) {
    LOG(ERROR, atMain, 194, "Failed to start ISS comm thread: %s", strerror(error));
    return false;
  }
  return true;
}

void joinThreads(const Threads& threads) {
  wakeSenderToStop();
  LOG(DEBUG1, atMain, 643, "Waiting for otnbus_thread to stop");
  joinWaking(threads.bus);
  LOG(DEBUG1, atMain, 645, "otnbus_thread stopped; waiting for isscom_thread to stop");
  joinWaking(threads.sender);
  LOG(DEBUG1, atMain, 647, "isscom_thread stopped");
}

/// Ends the process without taking from threads that still run what they use.
[[noreturn]] void leave(int status) {
  _exit(status & 0xFF);
}

}  // namespace

int main(int argc, char* argv[]) {
  blockSignals();
  setDispositions();
  const boardUtils board;
  SrvDbg debugSocket;
  CriticalActivity mainActivity;
  CriticalActivity opsActivity;

  if (g_traceObject == nullptr) g_traceObject = new TraceObject("Trelvik", startTraceLevel);
  bool noAcPort = parseOptions(argc, argv);
  readMacAddress(getenv("ethaddr_first"));
  tellMissingName(board);
  const std::chrono::seconds answerLimit = readAnswerLimit(getenv("TRELVIK_ANSWER_LIMIT"));
  opsSocket.limitSends(answerLimit);
  resetRing();
  linkState.note(false, false);

  Threads threads{};
  if (!startThreads(threads, noAcPort)) leave(failed);
  installSignalHandlers();

  LOG(DEBUG1, atMain, 210, "Registering to watchdog");
  if (!mainActivity.registered()) mainActivity.start("main");
  if (mainActivity.registered()) mainActivity.setTimeout(criticalActivityTimeout);
  LOG(DEBUG3, atMain, 218, " Setting up Debug socket");
  debugSocket.StartUdpServer();
  ReceiveLoop(mainActivity, opsActivity, debugSocket, board, answerLimit).run();

  joinThreads(threads);
  const bool workersEnded = waitForWorkers(0);
  if (workersEnded) {
    pthread_mutex_destroy(&mutex.native);
    pthread_cond_destroy(&cond);
    pthread_cond_destroy(&cond2);
  }
  opsActivity.stop();
  mainActivity.stop();
  LOG(INFO, atMain, 658, "Finished");
  if (!workersEnded) leave(EXIT_SUCCESS);
  delete g_traceObject;
  g_traceObject = nullptr;
  return EXIT_SUCCESS;
}
