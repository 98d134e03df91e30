// ISS's side of a capture, played again to the clients that connect: the first gets what the capture's first
// client got, and so on. What ISS sent is sent again when the client has sent as many bytes as it had sent
// then, and with the same pause after what was sent before it.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "base/EventLoop.h"
#include "base/LineOutput.h"
#include "capture/CaptureReader.h"
#include "record/RecordStream.h"

namespace sim {

struct ReplayOptions {
  std::string file;
  uint16_t port = 8000;  ///< 0 = any free one
  bool fast = false;     ///< without the capture's waits
  bool quiet = false;    ///< records are not printed
};

class Replay {
 public:
  /// The connections and the output are the caller's and outlive the replay.
  Replay(const ReplayOptions& options, const std::vector<CapturedConnection>& connections, LineOutput& output)
      : m_options(options), m_connections(connections), m_output(output) {}
  ~Replay();
  Replay(const Replay&) = delete;
  Replay& operator=(const Replay&) = delete;

  /// Opens the port; false with one line of reason.
  bool listen(std::string& reason);
  uint16_t port() const { return m_port; }

  /// Until the capture's last connection has ended or stopFd (the caller's) is readable.
  void run(int stopFd);

 private:
  const CapturedConnection& current() const { return m_connections[m_connection]; }
  void accept();
  void receive();
  void advance();
  void send();
  void leave(const std::string& why);
  bool played() const { return m_step == current().traffic.size(); }
  bool mustClose() const { return played() && current().endedByIss != Ending::none; }
  Clock::time_point due() const;
  EventLoop::Interest wanted() const;
  void serve(short events);
  void print(Direction direction, std::string_view bytes);

  const ReplayOptions& m_options;
  const std::vector<CapturedConnection>& m_connections;
  LineOutput& m_output;
  EventLoop m_loop;
  uint16_t m_port = 0;
  int m_listenFd = -1;
  int m_clientFd = -1;
  size_t m_connection = 0;  ///< of the capture
  size_t m_step = 0;        ///< of its traffic
  size_t m_done = 0;        ///< bytes of the step that went out or came in
  bool m_differs = false;
  std::string m_early;  ///< what the client sent ahead of the capture
  Clock::time_point m_lastStep{};
  std::chrono::nanoseconds m_lastTime{};  ///< when the last step happened in the capture
  RecordStream m_streams[2];              ///< for printing, by direction (1 = out)
};

/// The command `iss-sim replay`; its own arguments begin at argv[2]. Returns the exit status.
int replayCommand(int argc, char* const* argv, int stopFd);

}  // namespace sim
