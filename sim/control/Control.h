// The simulator's control socket: a Unix stream socket on which each connection carries one request.
//
// A request is one line: "show SUBJECT [PORTS] [--json]", "watch [--json]" or "inject DIRECTIVE". The answer
// is "ok" on a line of its own and what was asked for, or "error REASON" on one line; then the simulator
// closes, except that a watch goes on until either side ends it. All calls come on the event loop's
// thread, and none blocks: a client that does not read loses messages, not the simulator's time. Only the
// simulator's own user and root are served.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <string_view>

#include "base/EventLoop.h"
#include "base/Table.h"
#include "control/ShowRequest.h"
#include "control/Watch.h"

namespace sim {

class Control {
 public:
  static constexpr size_t maxClients = 16;
  static constexpr size_t maxRequest = 4096;      ///< bytes
  static constexpr size_t maxBacklog = 1U << 20;  ///< bytes a slow watcher may be behind

  /// The subject's tables; nothing for an unknown one.
  using Show = std::function<std::optional<View>(const ShowRequest&)>;
  /// Carries out a directive and returns what is wrong with it.
  using Inject = std::function<std::optional<std::string>(std::string_view)>;

  /// Loop and watch are the caller's and outlive this.
  Control(EventLoop& loop, Show show, Watch& watch, Inject inject);
  ~Control();
  Control(const Control&) = delete;
  Control& operator=(const Control&) = delete;

  /// Opens the socket, for its owner only, in place of a socket that a killed simulator left. False with one
  /// line of reason.
  bool listen(const std::string& path, std::string& reason);

 private:
  enum class Phase : uint8_t { request, watchText, watchJson, closing };

  struct Client {
    Phase phase = Phase::request;
    std::string received;
    std::string unsent;
    size_t lost = 0;     ///< messages that a watcher missed
    bool ended = false;  ///< it sends nothing more, but still reads
  };

  void accept();
  void serve(int fd, short events);
  bool receive(int fd, Client& client);
  void carryOut(Client& client, std::string_view request);
  void show(Client& client, std::string_view words);
  void startWatch(Client& client, std::string_view words);
  void passed(const Passed& message);
  /// Writes what can be written; false when the client is finished.
  bool flush(int fd, Client& client);
  void drop(int fd);

  EventLoop& m_loop;
  Show m_show;
  Watch& m_watch;
  Inject m_inject;
  std::string m_path;  ///< the socket's; empty = not ours to remove
  int m_listenFd = -1;
  std::map<int, Client> m_clients;  ///< by descriptor
};

}  // namespace sim
