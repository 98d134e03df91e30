#include "otnbus/Deputy.h"

#include <poll.h>
#include <sys/timerfd.h>
#include <unistd.h>

#include <chrono>
#include <csignal>

namespace otnbus {

namespace {

constexpr size_t stackSize = 256U << 10;
constexpr int64_t patience = 1'000'000;  ///< ns that a handler may take, at least
constexpr int64_t lead = 5'000'000;      ///< ns that the timer is set ahead: a handler may take that at most

int64_t nanoseconds() {
  return std::chrono::nanoseconds(std::chrono::steady_clock::now().time_since_epoch()).count();
}

/// No signal is delivered to the thread: the program's handlers run where the program expects them.
bool startWithSignalsBlocked(pthread_t& thread, void* (*function)(void*), void* argument) {
  sigset_t all;
  sigset_t before;
  sigfillset(&all);
  pthread_attr_t attributes;
  pthread_attr_init(&attributes);
  pthread_attr_setstacksize(&attributes, stackSize);
  pthread_sigmask(SIG_SETMASK, &all, &before);
  const int error = pthread_create(&thread, &attributes, function, argument);
  pthread_sigmask(SIG_SETMASK, &before, nullptr);
  pthread_attr_destroy(&attributes);
  return error == 0;
}

}  // namespace

Deputy::Deputy() : m_timer(timerfd_create(CLOCK_MONOTONIC, TFD_CLOEXEC | TFD_NONBLOCK)) {}

Deputy::~Deputy() {
  close(m_timer);
}

bool Deputy::start(void (*standIn)(void*), void* argument) {
  m_standIn = standIn;
  m_argument = argument;
  m_started = m_timer >= 0 && startWithSignalsBlocked(m_thread, run, this);
  if (m_started) pthread_setname_np(m_thread, "tv-deputy");
  return m_started;
}

void Deputy::stop() {
  if (!m_started) return;
  m_stopping = true;
  fireAt(1);
  pthread_join(m_thread, nullptr);
  m_started = false;
}

void Deputy::handlerStarts() {
  const int64_t now = nanoseconds();
  m_since = now;
  if (m_due < now + patience) fireAt(now + lead);
}

void Deputy::handlerEnds() {
  m_since = 0;
  // Either this sees the deputy standing in, or the deputy sees that there is no need.
  if (m_standing) fireAt(1);
}

void Deputy::fireAt(int64_t moment) {
  m_due = moment;
  itimerspec when{};
  when.it_value.tv_sec = static_cast<time_t>(moment / 1'000'000'000);
  when.it_value.tv_nsec = static_cast<long>(moment % 1'000'000'000);
  timerfd_settime(m_timer, TFD_TIMER_ABSTIME, &when, nullptr);
}

bool Deputy::needed() const {
  const int64_t since = m_since;
  return since != 0 && !m_stopping && nanoseconds() - since >= patience;
}

void Deputy::takeTick() {
  uint64_t count;
  [[maybe_unused]] const ssize_t size = read(m_timer, &count, sizeof count);
}

void* Deputy::run(void* self) {
  static_cast<Deputy*>(self)->serve();
  return nullptr;
}

void Deputy::serve() {
  while (!m_stopping) {
    pollfd timer{m_timer, POLLIN, 0};
    poll(&timer, 1, -1);
    takeTick();
    m_standing = true;
    if (needed()) m_standIn(m_argument);
    m_standing = false;
  }
}

}  // namespace otnbus
