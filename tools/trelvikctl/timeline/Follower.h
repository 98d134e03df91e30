// Follows each request through the daemon by what its log says, line by line: handler, worker, slot of the
// ring, sender, answer, reply. One owner, one thread.
#pragma once

#include <deque>
#include <optional>
#include <string>

#include "timeline/Arrivals.h"
#include "timeline/History.h"

namespace ctl {

class Follower {
 public:
  void take(const LogLine& line);

  /// Lines are missing here: nothing is followed across.
  void gap(const std::string& why);

  void other() { ++m_history.otherLines; }

  History finish();

 private:
  /// A message in the ring.
  struct Queued {
    size_t request;
    size_t message;
  };
  enum class Incoming : uint8_t { none, answer, debugRequest };

  bool onBusThread(const LogLine& line);
  bool onWorker(const LogLine& line);
  bool onSender(const LogLine& line);
  bool onMain(const LogLine& line);
  void onRoute(const LogLine& line);
  void onDump(const LogLine& line);

  TracedRequest& begin(RequestKind kind);
  void endWork(LogTime when, bool told);
  void queueMessage(size_t request, int slot, LogTime when);
  void sendBegins(const LogLine& line);
  void consume(LogTime when);
  void giveUp(const LogLine& line);
  void debugQueued(const LogLine& line);
  void sample(LogTime when);
  TracedMessage* front();
  TracedRequest* frontRequest();
  void forget();
  void finishUp(TracedRequest& request) const;

  History m_history;
  Arrivals m_arrivals;
  std::deque<Queued> m_ring;          ///< the oldest first
  int m_unseen = 0;                   ///< messages in the ring that were queued before the log began
  std::optional<size_t> m_working;    ///< the request whose worker has the lock
  std::optional<size_t> m_trigger;    ///< the start or stop of ISS that is under way
  bool m_workKeyed = false;           ///< its arguments were seen
  bool m_workQueued = false;          ///< it got a slot
  std::optional<LogTime> m_incoming;  ///< when a message of ISS, or of the debug socket, was found
  Incoming m_from = Incoming::none;
  bool m_routed = false;
  std::string m_dump;
  int m_pid = 0;
};

}  // namespace ctl
