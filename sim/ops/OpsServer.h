// OPS as the daemon sees it: a TCP port on the loopback, one client after another, fixed-size records. On the
// event loop's thread; nothing in it blocks but the output of lines.
#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <map>
#include <span>
#include <string>
#include <vector>

#include "base/EventLoop.h"
#include "base/LineOutput.h"
#include "directive/Directive.h"
#include "directive/Fault.h"
#include "iss/IssModel.h"
#include "ops/Outbox.h"
#include "record/Observer.h"
#include "record/RecordStream.h"

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
  /// Loop, model and output are the caller's and outlive the server.
  OpsServer(const ServerOptions& options, EventLoop& loop, IssModel& model, LineOutput& output);
  ~OpsServer();
  OpsServer(const OpsServer&) = delete;
  OpsServer& operator=(const OpsServer&) = delete;

  /// Opens the port; false with one line of reason.
  bool listen(std::string& reason);
  uint16_t port() const { return m_port; }

  /// The observer is the caller's and outlives the server.
  void addObserver(Observer& observer) { m_observers.push_back(&observer); }

  // Before the loop runs, or from within it:

  TimerQueue& timers() { return m_loop.timers(); }
  const TimerQueue& timers() const { return m_loop.timers(); }
  FaultTable& faults() { return m_faults; }

  /// A record that a fault holds back.
  struct Delayed {
    Clock::time_point due;
    uint32_t type;
    std::string what;  ///< the rules that apply
  };
  /// In the order in which they were held back.
  std::vector<Delayed> delayed() const;

  /// The first messages that a new client gets, from now on.
  void setStartup(std::vector<StartupStep> steps) { m_startup = std::move(steps); }
  /// From now on; 0 = none.
  void setKeepAlive(std::chrono::milliseconds period);

  /// Sends a record to the client, if there is one; faults apply to it.
  void send(const OtnIpcMsg& record);
  /// Sends records, or any other bytes, unchanged.
  void sendAsIs(const OtnIpcMsg& record, uint32_t count);
  void sendAsIs(std::string bytes);

  /// Ends the connection, if there is one, when everything that waits has been sent.
  void close(Ending how);
  /// Ends the connection and refuses others for a time. ISS forgets everything.
  void restart(std::chrono::milliseconds away);
  /// Neither reads nor writes for a time.
  void stall(std::chrono::milliseconds time);

 private:
  struct HeldBack {
    Clock::time_point due;
    uint32_t type;
    Delivery delivery;
  };

  void reopen();
  void accept();
  void greet();
  void scheduleKeepAlive();
  void dropClient(const std::string& why, Direction by, bool reset);
  void end(Ending how);
  void receive();
  void hold(const OtnIpcMsg& record, Delivery delivery);
  void queue(Delivery delivery);
  void tell(const Sent& sent);
  void forgetOutgoing();
  void flush();
  void watchPort();
  EventLoop::Interest wanted() const;
  bool mayWrite() const;
  void serve();

  const ServerOptions m_options;
  EventLoop& m_loop;
  IssModel& m_model;
  LineOutput& m_output;
  uint16_t m_port = 0;
  int m_listenFd = -1;  ///< -1 = ISS is away
  int m_clientFd = -1;
  RecordStream m_received;
  Outbox m_outbox;                 ///< nothing is read from the client while something is in it
  Clock::time_point m_writeDue{};  ///< when the first may go out
  Clock::time_point m_stalledUntil{};
  std::vector<StartupStep> m_startup;
  std::chrono::milliseconds m_keepAlive;
  FaultTable m_faults;
  std::map<uint64_t, HeldBack> m_heldBack;  ///< by order
  uint64_t m_lastHeldBack = 0;
  std::vector<Observer*> m_observers;
};

}  // namespace sim
