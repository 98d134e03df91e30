// The simulator's control socket: clients with any requests, in any pieces, while messages pass. Each request
// gets one answer, a watcher gets whole lines, and what is shown as JSON is JSON.
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <optional>
#include <utility>
#include <vector>

#include "base/UnixAddress.h"
#include "control/Control.h"
#include "control/Show.h"
#include "directive/DirectiveParser.h"
#include "fuzz/Input.h"
#include "fuzz/Record.h"
#include "fuzz/json.h"
#include "iss/IssModel.h"

namespace {

/// Of this process alone, and gone with it.
class Place {
 public:
  Place() {
    char name[] = "/tmp/fuzz-control-XXXXXX";
    must(mkdtemp(name) != nullptr, "a directory can be had");
    m_folder = name;
  }
  ~Place() { rmdir(m_folder.c_str()); }
  Place(const Place&) = delete;
  Place& operator=(const Place&) = delete;

  std::string path() const { return m_folder + "/sock"; }

 private:
  std::string m_folder;
};

class Client {
 public:
  explicit Client(const std::string& path)
      : m_fd(socket(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0)) {
    sockaddr_un address;
    must(sim::fillAddress(path, address) &&
             connect(m_fd, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0,
         "the socket takes clients");
  }
  ~Client() { close(m_fd); }
  Client(Client&& other) noexcept
      : m_fd(std::exchange(other.m_fd, -1)), m_sent(std::move(other.m_sent)), m_got(std::move(other.m_got)) {}
  Client& operator=(Client&&) = delete;

  void send(std::string_view bytes) {
    const ssize_t n = ::send(m_fd, bytes.data(), bytes.size(), MSG_NOSIGNAL);
    if (n > 0) m_sent += bytes.substr(0, static_cast<size_t>(n));
  }
  void end() { shutdown(m_fd, SHUT_WR); }
  void receive() {
    char bytes[65536];
    for (ssize_t n = 0; (n = recv(m_fd, bytes, sizeof bytes, 0)) > 0;)
      m_got.append(bytes, static_cast<size_t>(n));
  }

  void check() const {
    if (m_sent.find('\n') == std::string::npos && m_sent.size() <= sim::Control::maxRequest) {
      must(m_got.empty(), "half a request gets no answer", [&] { return readable(m_got); });
      return;
    }
    must(!m_got.empty() && m_got.ends_with('\n'), "a request gets an answer of whole lines",
         [&] { return readable(m_got); });
    const bool good = m_got.starts_with("ok\n");
    must(good || m_got.starts_with("error "), "an answer is ok or error", [&] { return readable(m_got); });
    must(good || m_got.find('\n') == m_got.size() - 1, "a reason is one line",
         [&] { return readable(m_got); });
    checkLines(good ? m_got.substr(3) : m_got);
  }

 private:
  void checkLines(std::string_view text) const {
    // Behind a # stands a comment, as in a scenario.
    const std::string request = m_sent.substr(0, m_sent.find_first_of("#\n"));
    const bool json = request.ends_with("--json");
    while (!text.empty()) {
      const std::string_view line = text.substr(0, text.find('\n'));
      text.remove_prefix(line.size() + 1);
      must(isPrintableLine(line), "all that is told is printable", [&] { return readable(line); });
      must(!json || line.starts_with("error ") || isJson(line), "what is asked for as JSON is JSON",
           [&] { return readable(line); });
    }
  }

  int m_fd;
  std::string m_sent;
  std::string m_got;
};

/// A simulator without a daemon.
class Simulator {
 public:
  explicit Simulator(const std::string& path) : m_control(m_loop, show(), m_watch, inject) {
    std::string reason;
    must(m_control.listen(path, reason), "the socket can be opened", [&] { return reason; });
  }

  void run() {
    for (int i = 0; i < 1000 && m_loop.runReady(); ++i) {
    }
  }

  void pass(const OtnIpcMsg& request) {
    const auto now = std::chrono::steady_clock::now();
    m_watch.onReceived(request, now);
    // It would read and write files.
    if (request.msgType == RUN_DEFAULT_SCRIPT_COMMAND) return;
    std::string notes;
    const OtnIpcMsg answer = m_iss.answer(request, notes);
    m_watch.onSent({&answer, sizeof answer}, now);
  }

 private:
  sim::Control::Show show() {
    return [this](const sim::ShowRequest& request) {
      must((request.ports & ~sim::allPorts) == 0, "ports that there are");
      return sim::show(request.subject, m_iss, m_watch.counts(), request.ports);
    };
  }
  static std::optional<std::string> inject(std::string_view line) {
    if (sim::isBlank(line)) return "nothing to do";
    sim::Directive directive;
    return sim::parseDirective(line, directive);
  }

  sim::EventLoop m_loop;
  sim::IssModel m_iss;
  sim::Watch m_watch;
  sim::Control m_control;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* bytes, size_t size) {
  static const Place place;
  Input input(bytes, size);
  Simulator simulator(place.path());
  std::vector<Client> clients;
  while (!input.atEnd() && clients.size() < 6) {
    const uint8_t what = input.byte();
    if (clients.empty() || what == '+') {
      clients.emplace_back(place.path());
    } else if (what == '!') {
      simulator.pass(takeRecord(input));
    } else if (what == '.') {
      clients.back().end();
    } else if (what == '*') {
      clients.back().send(std::string(4000, 'x'));
    } else {
      clients.back().send(std::string(1, static_cast<char>(what)) + std::string(input.line()) + '\n');
    }
    simulator.run();
    for (Client& client : clients) client.receive();
  }
  simulator.run();
  for (Client& client : clients) {
    client.receive();
    client.check();
  }
  return 0;
}
