#include "capture/Replay.h"

#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "base/Listener.h"
#include "record/OpsDecoder.h"

namespace sim {

Replay::~Replay() {
  if (m_clientFd >= 0) ::close(m_clientFd);
  if (m_listenFd >= 0) ::close(m_listenFd);
}

bool Replay::listen(std::string& reason) {
  m_listenFd = openListener(m_options.port, m_port);
  if (m_listenFd < 0) {
    reason = listenProblem(m_options.port, errno);
    return false;
  }
  m_loop.watch(
      m_listenFd, [this] { return m_clientFd < 0 ? EventLoop::Interest{POLLIN} : EventLoop::Interest{}; },
      [this](short) { accept(); });
  m_output.line("listening on 127.0.0.1:" + std::to_string(m_port) + ", " +
                std::to_string(m_connections.size()) + " connections to replay");
  return true;
}

void Replay::run(int stopFd) {
  if (m_connection < m_connections.size()) m_loop.run(stopFd);
  if (m_connection == m_connections.size()) m_output.line("the capture is played to its end");
}

EventLoop::Interest Replay::wanted() const {
  if (due() > Clock::now()) return {POLLIN, due()};
  // A client that is slow to take what it gets.
  return {POLLIN | POLLOUT, mustClose() ? due() : Clock::time_point::max()};
}

void Replay::serve(short events) {
  if ((events & ~POLLOUT) != 0) receive();
  if (m_clientFd >= 0 && due() <= Clock::now()) send();
}

void Replay::accept() {
  std::string refused;
  m_clientFd = acceptClient(m_listenFd, refused);
  if (!refused.empty()) m_output.line("client refused: " + refused);
  if (m_clientFd < 0) return;
  m_loop.watch(
      m_clientFd, [this] { return wanted(); }, [this](short events) { serve(events); });
  m_output.line("client connected, replaying connection " + std::to_string(m_connection + 1));
  m_step = 0;
  m_done = 0;
  m_differs = false;
  m_early.clear();
  m_lastStep = Clock::now();
  m_lastTime = current().opened;
  for (RecordStream& stream : m_streams) stream.reset();
}

/// When something is to go out; the end of time while the client is awaited.
Clock::time_point Replay::due() const {
  if (played() ? !mustClose() : current().traffic[m_step].direction == Direction::in) {
    return Clock::time_point::max();
  }
  if (m_options.fast) return m_lastStep;
  const auto time = played() ? current().ended : current().traffic[m_step].when;
  return m_lastStep + std::max(time - m_lastTime, std::chrono::nanoseconds(0));
}

void Replay::receive() {
  char bytes[65536];
  const ssize_t n = recv(m_clientFd, bytes, sizeof bytes, 0);
  if (n < 0 && (errno == EAGAIN || errno == EINTR)) return;
  if (n <= 0) {
    leave(n == 0 ? "the client closed the connection" : strerror(errno));
    return;
  }
  const std::string_view received(bytes, static_cast<size_t>(n));
  print(Direction::in, received);
  m_early += received;
  advance();
}

/// Takes what the client has sent for the steps that awaited it.
void Replay::advance() {
  while (!played() && current().traffic[m_step].direction == Direction::in && !m_early.empty()) {
    const CapturedBytes& step = current().traffic[m_step];
    const size_t count = std::min(m_early.size(), step.bytes.size() - m_done);
    if (!m_differs && m_early.compare(0, count, step.bytes, m_done, count) != 0) {
      m_differs = true;
      m_output.line("the client sends something else than in the capture");
    }
    m_early.erase(0, count);
    m_done += count;
    if (m_done < step.bytes.size()) return;
    m_lastStep = Clock::now();
    m_lastTime = step.when;
    m_done = 0;
    ++m_step;
  }
}

void Replay::send() {
  if (mustClose()) {
    if (current().endedByIss == Ending::reset) {
      const linger now{1, 0};
      setsockopt(m_clientFd, SOL_SOCKET, SO_LINGER, &now, sizeof now);
    }
    leave("closed as in the capture");
    return;
  }
  const CapturedBytes& step = current().traffic[m_step];
  const ssize_t n = ::send(m_clientFd, step.bytes.data() + m_done, step.bytes.size() - m_done, MSG_NOSIGNAL);
  if (n < 0) {
    if (errno != EAGAIN && errno != EINTR) leave(strerror(errno));
    return;
  }
  print(Direction::out, std::string_view(step.bytes).substr(m_done, static_cast<size_t>(n)));
  m_done += static_cast<size_t>(n);
  if (m_done < step.bytes.size()) return;
  m_lastStep = Clock::now();
  m_lastTime = step.when;
  m_done = 0;
  ++m_step;
  advance();
}

void Replay::leave(const std::string& why) {
  m_output.line("client lost: " + why);
  if (!played()) {
    m_output.line("the capture's connection goes on for " +
                  std::to_string(current().traffic.size() - m_step) + " more steps");
  }
  m_loop.forget(m_clientFd);
  ::close(m_clientFd);
  m_clientFd = -1;
  if (++m_connection == m_connections.size()) m_loop.stop();
}

void Replay::print(Direction direction, std::string_view bytes) {
  if (m_options.quiet) return;
  const bool out = direction == Direction::out;
  RecordStream& stream = m_streams[out ? 1 : 0];
  while (!bytes.empty()) {
    const std::span<std::byte> room = stream.room();
    const size_t count = std::min(room.size(), bytes.size());
    memcpy(room.data(), bytes.data(), count);
    bytes.remove_prefix(count);
    if (stream.filled(count)) m_output.line((out ? "-> " : "<- ") + decodeRecord(stream.record()));
  }
}

}  // namespace sim
