#include "otnbus/Deputy.h"

#include <gtest/gtest.h>

#include <atomic>
#include <csignal>

#include "support/waitFor.h"

namespace {

enum Seen { Nothing, Open, Blocked };

TEST(Deputy, TakesNoSignalsAndLeavesThemToWhoStartsIt) {
  sigset_t empty;
  sigset_t before;
  sigemptyset(&empty);
  pthread_sigmask(SIG_SETMASK, &empty, &before);
  std::atomic<Seen> seen{Nothing};
  otnbus::Deputy deputy;
  const auto standIn = [](void* noted) {
    sigset_t mask;
    pthread_sigmask(SIG_SETMASK, nullptr, &mask);
    const bool all = sigismember(&mask, SIGTERM) == 1 && sigismember(&mask, SIGUSR1) == 1;
    *static_cast<std::atomic<Seen>*>(noted) = all ? Blocked : Open;
  };
  ASSERT_TRUE(deputy.start(standIn, &seen));
  sigset_t after;
  pthread_sigmask(SIG_SETMASK, &before, &after);
  EXPECT_EQ(sigismember(&after, SIGTERM), 0);
  EXPECT_EQ(sigismember(&after, SIGUSR1), 0);
  deputy.handlerStarts();
  EXPECT_TRUE(waitFor([&] { return seen != Nothing; }));
  EXPECT_EQ(seen, Blocked);
  deputy.stop();
}

}  // namespace
