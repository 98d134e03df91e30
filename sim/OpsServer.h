// OPS as the daemon sees it: a TCP port on the loopback, one client at a time, fixed-size records. One poll
// loop on the caller's thread; nothing in it blocks but the output of lines.
#pragma once

#include <poll.h>

#include <chrono>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "IssModel.h"
#include "LineOutput.h"
#include "Observer.h"
#include "RecordStream.h"

namespace sim {

/// The restore result that ISS reports to a new client.
enum class Restore : uint8_t { ok, fail, none };

struct ServerOptions {
  uint16_t port = 8000;  ///< 0 = any free one
  Restore restore = Restore::ok;
  std::chrono::milliseconds restoreDelay{0};
  std::chrono::milliseconds keepAlive{10000};  ///< 0 = none
  bool quiet = false;                          ///< records are not printed
};

class OpsServer {
 public:
  /// The model and the output are the caller's and outlive the server.
  OpsServer(const ServerOptions& options, IssModel& model, LineOutput& output)
      : m_options(options), m_model(model), m_output(output) {}
  ~OpsServer();
  OpsServer(const OpsServer&) = delete;
  OpsServer& operator=(const OpsServer&) = delete;

  /// Opens the port; false with one line of reason.
  bool listen(std::string& reason);
  uint16_t port() const { return m_port; }

  /// The observer is the caller's and outlives the server.
  void addObserver(Observer& observer) { m_observers.push_back(&observer); }

  /// Calls `ready` with the events of a further descriptor (the caller's) from the poll loop. It may add and
  /// remove pollables, its own included.
  void addPollable(int fd, short events, std::function<void(short)> ready);
  void removePollable(int fd);

  /// Serves one client after another until stopFd (the caller's) is readable.
  void run(int stopFd);

 private:
  using Clock = std::chrono::steady_clock;

  struct Pollable {
    int fd;  ///< -1 = removed
    short events;
    std::function<void(short)> ready;
  };

  void runPollables(const std::vector<pollfd>& fds);
  void accept();
  void dropClient(const std::string& why);
  void receive();
  void send(const OtnIpcMsg& record);
  void flush();
  void sendStatus(OtnIpcMsgType type);
  void sendRestoreResult();
  void runTimers();
  int pollTimeout() const;

  const ServerOptions m_options;
  IssModel& m_model;
  LineOutput& m_output;
  uint16_t m_port = 0;
  int m_listenFd = -1;
  int m_clientFd = -1;
  RecordStream m_received;
  std::string m_unsent;  ///< what the client has not taken yet; nothing is read from it meanwhile
  std::vector<Observer*> m_observers;
  std::vector<Pollable> m_pollables;
  Clock::time_point m_restoreDue = Clock::time_point::max();
  Clock::time_point m_keepAliveDue = Clock::time_point::max();
};

}  // namespace sim
