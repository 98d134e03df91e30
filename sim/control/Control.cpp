#include "control/Control.h"

#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <utility>
#include <vector>

#include "base/PeerUser.h"
#include "base/UnixAddress.h"
#include "base/Words.h"

namespace sim {
namespace {

/// Binds for the owner only, from the first moment on.
bool bindPrivately(int fd, const sockaddr_un& address) {
  const mode_t before = umask(0177);
  const bool bound = bind(fd, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0;
  const int error = errno;
  umask(before);
  errno = error;
  return bound;
}

/// Removes the socket of a simulator that is gone.
bool removeStale(const sockaddr_un& address) {
  struct stat status;
  if (lstat(address.sun_path, &status) != 0 || !S_ISSOCK(status.st_mode)) return false;
  const int probe = ::socket(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
  const bool refused = connect(probe, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0 &&
                       errno == ECONNREFUSED;
  ::close(probe);
  return refused && unlink(address.sun_path) == 0;
}

/// Takes the first word off the text.
std::string_view takeWord(std::string_view& text) {
  const size_t start = std::min(text.find_first_not_of(' '), text.size());
  const size_t end = std::min(text.find(' ', start), text.size());
  const std::string_view word = text.substr(start, end - start);
  text.remove_prefix(end);
  return word;
}

/// On one line, whatever the reason holds.
std::string errorAnswer(std::string reason) {
  std::ranges::replace(reason, '\n', ' ');
  return "error " + reason + '\n';
}

/// The option --json, or nothing at all.
bool parseJsonOption(std::string_view words, bool& json) {
  const std::string_view option = takeWord(words);
  json = option == "--json";
  return (json || option.empty()) && takeWord(words).empty();
}

}  // namespace

Control::Control(EventLoop& loop, Show show, Watch& watch, Inject inject)
    : m_loop(loop), m_show(std::move(show)), m_watch(watch), m_inject(std::move(inject)) {
  m_watch.setListener([this](const Passed& message) { passed(message); });
}

Control::~Control() {
  m_watch.setListener({});
  while (!m_clients.empty()) drop(m_clients.begin()->first);
  if (m_listenFd >= 0) {
    m_loop.forget(m_listenFd);
    ::close(m_listenFd);
  }
  if (!m_path.empty()) unlink(m_path.c_str());
}

bool Control::listen(const std::string& path, std::string& reason) {
  sockaddr_un address;
  if (!fillAddress(path, address)) {
    reason = path + ": no path for a socket, 1 to " + std::to_string(sizeof address.sun_path - 1) + " bytes";
    return false;
  }
  m_listenFd = ::socket(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
  bool bound = m_listenFd >= 0 && bindPrivately(m_listenFd, address);
  if (!bound && errno == EADDRINUSE) {
    bound = removeStale(address) && bindPrivately(m_listenFd, address);
    if (!bound) {
      reason = path + ": in use, is another instance running?";
      return false;
    }
  }
  if (!bound || ::listen(m_listenFd, 4) != 0) {
    reason = path + ": " + strerror(errno);
    return false;
  }
  m_loop.watch(m_listenFd, POLLIN, [this](short) { accept(); });
  m_path = path;
  return true;
}

void Control::accept() {
  const int fd = accept4(m_listenFd, nullptr, nullptr, SOCK_NONBLOCK | SOCK_CLOEXEC);
  if (fd < 0) return;
  Client& client = m_clients[fd];
  const auto wanted = [&client] {
    const int events = (client.ended ? 0 : POLLIN) | (client.unsent.empty() ? 0 : POLLOUT);
    return EventLoop::Interest{static_cast<short>(events)};
  };
  m_loop.watch(fd, wanted, [this, fd](short events) { serve(fd, events); });
  const std::optional<uid_t> user = socketUser(fd);
  const bool known = user && mayUse(*user);
  if (known && m_clients.size() <= maxClients) return;
  client.phase = Phase::closing;
  client.unsent = errorAnswer(known ? "too many clients"
                                    : "this simulator is not for " + (user ? "user " + std::to_string(*user)
                                                                           : std::string("an unknown user")));
  if (!flush(fd, client)) drop(fd);
}

void Control::serve(int fd, short events) {
  Client& client = m_clients[fd];
  const bool readable = (events & POLLIN) != 0;
  const bool gone = !readable && (events & (POLLHUP | POLLERR)) != 0;
  if (gone || (readable && !receive(fd, client)) || !flush(fd, client)) drop(fd);
}

/// False when the client is gone.
bool Control::receive(int fd, Client& client) {
  char bytes[4096];
  const ssize_t n = recv(fd, bytes, sizeof bytes, 0);
  if (n < 0) return errno == EAGAIN || errno == EINTR;
  if (n == 0) {
    client.ended = true;
    return client.phase != Phase::request;
  }
  // Nothing is expected behind the request.
  if (client.phase != Phase::request) return true;
  client.received.append(bytes, static_cast<size_t>(n));
  const size_t end = client.received.find('\n');
  if (end != std::string::npos && end <= maxRequest) {
    carryOut(client, std::string_view(client.received).substr(0, end));
  } else if (client.received.size() > maxRequest) {
    client.phase = Phase::closing;
    client.unsent = errorAnswer("the request is longer than " + std::to_string(maxRequest) + " bytes");
  }
  return true;
}

void Control::carryOut(Client& client, std::string_view request) {
  client.phase = Phase::closing;
  const std::string_view command = takeWord(request);
  if (command == "show") {
    show(client, request);
  } else if (command == "watch") {
    startWatch(client, request);
  } else if (command == "inject") {
    const std::optional<std::string> wrong = m_inject(request);
    client.unsent = wrong ? errorAnswer(*wrong) : "ok\n";
  } else {
    client.unsent =
        errorAnswer("unknown request " + quoted(command.substr(0, 80)) + ", not show, watch or inject");
  }
}

void Control::show(Client& client, std::string_view words) {
  ShowRequest request;
  if (const Problem problem = parseShow(words, request)) {
    client.unsent = errorAnswer(*problem);
    return;
  }
  const std::optional<View> view = m_show(request);
  if (view) {
    client.unsent = "ok\n" + (request.json ? toJson(*view) : toText(*view));
  } else {
    client.unsent = errorAnswer("cannot show " + quoted(std::string_view(request.subject).substr(0, 80)) +
                                ", only " + std::string(showSubjects));
  }
}

void Control::startWatch(Client& client, std::string_view words) {
  bool json = false;
  if (!parseJsonOption(words, json)) {
    client.unsent = errorAnswer("watch takes nothing but --json");
    return;
  }
  client.phase = json ? Phase::watchJson : Phase::watchText;
  client.unsent = "ok\n";
}

void Control::passed(const Passed& message) {
  std::string lines[2];
  std::vector<int> gone;
  for (auto& [fd, client] : m_clients) {
    const bool json = client.phase == Phase::watchJson;
    if (!json && client.phase != Phase::watchText) continue;
    if (client.unsent.size() > maxBacklog) {
      ++client.lost;
      continue;
    }
    if (client.lost > 0) {
      const std::string count = std::to_string(std::exchange(client.lost, 0));
      client.unsent += json ? "{\"lost\": " + count + "}\n" : "(" + count + " messages not shown)\n";
    }
    std::string& line = lines[json ? 1 : 0];
    if (line.empty()) line = json ? watchJson(message) : watchLine(message);
    client.unsent += line;
    if (!flush(fd, client)) gone.push_back(fd);
  }
  for (const int fd : gone) drop(fd);
}

bool Control::flush(int fd, Client& client) {
  if (!client.unsent.empty()) {
    const ssize_t n = ::send(fd, client.unsent.data(), client.unsent.size(), MSG_NOSIGNAL);
    if (n < 0 && errno != EAGAIN && errno != EINTR) return false;
    if (n > 0) client.unsent.erase(0, static_cast<size_t>(n));
  }
  if (client.unsent.empty() && client.phase == Phase::closing) return false;
  return true;
}

void Control::drop(int fd) {
  m_loop.forget(fd);
  ::close(fd);
  m_clients.erase(fd);
}

}  // namespace sim
