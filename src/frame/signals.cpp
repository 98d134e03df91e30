#include "frame/signals.h"

#include <pthread.h>

#include <cstring>

#include "OBcomponent.h"
#include "link/running.h"
#include "stopPending.h"
#include "trace.h"

namespace {

constexpr int handledSignals[] = {SIGTERM, SIGQUIT, SIGINT, SIGPIPE};

}  // namespace

void handle_sig(int sig) {
  OBcomponent* component = OBcomponent::static_obc;
  TRACE(NOTICE, "main", 66, "handle_sig", "Signal %s (%d) received: killing %s and stopping threads",
        strsignal(sig), sig, component != nullptr ? component->name() : "");
  otn::setStopping(true);
  if (component != nullptr) component->sendKillMsgToSelf();
  running = 0;
}

void handle_sig_pipe(int sig) {
  TRACE(NOTICE, "main", 76, "handle_sig_pipe", "Signal %s (%d) received", strsignal(sig), sig);
}

void blockSignals() {
  sigset_t blocked;
  sigemptyset(&blocked);
  for (const int sig : handledSignals) sigaddset(&blocked, sig);
  pthread_sigmask(SIG_BLOCK, &blocked, nullptr);
}

void installSignalHandlers() {
  signal(SIGPIPE, handle_sig_pipe);
  signal(SIGTERM, handle_sig);
  signal(SIGQUIT, handle_sig);
  signal(SIGINT, handle_sig);
}

sigset_t waitMask() {
  sigset_t mask;
  pthread_sigmask(SIG_SETMASK, nullptr, &mask);
  for (const int sig : handledSignals) sigdelset(&mask, sig);
  return mask;
}
