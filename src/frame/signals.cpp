#include "frame/signals.h"

#include <poll.h>
#include <pthread.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <iterator>

#include "OBcomponent.h"
#include "TraceObject.h"
#include "process/running.h"
#include "stopPending.h"

namespace {

constexpr LogPlace atHandleSig{"main", "handle_sig"};
constexpr LogPlace atHandleSigPipe{"main", "handle_sig_pipe"};

constexpr int handledSignals[] = {SIGTERM, SIGQUIT, SIGINT, SIGPIPE};

sigset_t handledSet() {
  sigset_t set;
  sigemptyset(&set);
  for (const int sig : handledSignals) sigaddset(&set, sig);
  return set;
}

/// For the line of a stop that comes after the component was told to end.
char componentName[64];

void handle(int sig, void (*handler)(int)) {
  struct sigaction action {};
  action.sa_handler = handler;
  action.sa_mask = handledSet();
  action.sa_flags = SA_RESTART;
  sigaction(sig, &action, nullptr);
}

}  // namespace

void handle_sig(int sig) {
  const int error = errno;
  otn::setStopping(true);
  // From its kill on the bus thread may destroy the component at any time: only the first stop touches it.
  OBcomponent* component = OBcomponent::static_obc;
  if (running == 0) component = nullptr;
  if (component != nullptr) snprintf(componentName, sizeof componentName, "%s", component->name());
  LOG(NOTICE, atHandleSig, 66, "Signal %s (%d) received: killing %s and stopping threads", strsignal(sig),
      sig, componentName);
  if (component != nullptr) component->sendKillMsgToSelf();
  running = 0;
  errno = error;
}

void handle_sig_pipe(int sig) {
  const int error = errno;
  LOG(NOTICE, atHandleSigPipe, 76, "Signal %s (%d) received", strsignal(sig), sig);
  errno = error;
}

void blockSignals() {
  const sigset_t blocked = handledSet();
  pthread_sigmask(SIG_BLOCK, &blocked, nullptr);
}

void setDispositions() {
  struct sigaction action {};
  action.sa_handler = SIG_DFL;
  sigaction(SIGCHLD, &action, nullptr);
  action.sa_handler = SIG_IGN;
  sigaction(SIGXFSZ, &action, nullptr);
}

void installSignalHandlers() {
  handle(SIGPIPE, handle_sig_pipe);
  handle(SIGTERM, handle_sig);
  handle(SIGQUIT, handle_sig);
  handle(SIGINT, handle_sig);
}

sigset_t waitMask() {
  sigset_t mask;
  pthread_sigmask(SIG_SETMASK, nullptr, &mask);
  for (const int sig : handledSignals) sigdelset(&mask, sig);
  return mask;
}

void letSignalsIn() {
  const sigset_t open = waitMask();
  const timespec atOnce{};
  // One at a time: each handler's end closes the door to the others.
  for (size_t i = 0; i < std::size(handledSignals); ++i) ppoll(nullptr, 0, &atOnce, &open);
  // Some run-time checkers run the signal's handler only at the next call that they see.
  poll(nullptr, 0, 0);
}
