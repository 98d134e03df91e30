#include <algorithm>
#include <cstring>

#include "board/Check.h"
#include "bus/DaemonStatus.h"
#include "commands/Command.h"
#include "commands/Request.h"

namespace ctl {
namespace {

constexpr std::chrono::seconds patience{5};  ///< for each question to the bus

/// What the bus tells; each check needs those before it.
class BusChecks {
 public:
  explicit BusChecks(Context& context) : m_timeout(context.timeoutOr(patience)) {}

  Checks all() {
    const Outcome opened = m_bus.open();
    m_pid = opened.status == Exit::done ? static_cast<pid_t>(m_bus.ownerPid("otn.Trelvik", m_timeout)) : 0;
    if (opened.status != Exit::done) {
      m_checks.push_back({"bus", Mark::bad, "cannot be reached", opened.message});
      return m_checks;
    }
    policy();
    if (m_pid == 0) return m_checks;
    status();
    mac();
    unit();
    return m_checks;
  }

 private:
  /// The first call shows whether bus and daemon are there, and whether the policy lets it pass.
  void policy() {
    const Reply reply = m_bus.call(getTraceLevel(), m_timeout);
    const Outcome outcome =
        reply.answered() ? Outcome() : noAnswer(reply, getTraceLevel(), "call", m_timeout);
    if (reply.kind == Reply::Kind::lost) {
      m_checks.push_back({"bus", Mark::bad, "ends the connection", outcome.message});
      return;
    }
    m_checks.push_back({"bus", Mark::good, "answers"});
    const bool denied = reply.errorName.ends_with(".AccessDenied");
    if (denied)
      m_checks.push_back({"policy", Mark::bad, "this user may not call the daemon", outcome.message});
    if (m_pid == 0) {
      m_checks.push_back({"daemon", Mark::bad, "nobody owns otn.Trelvik", "systemctl start trelvik"});
      return;
    }
    const std::string owner = processName(m_pid) + " (" + std::to_string(m_pid) + ')';
    m_checks.push_back({"daemon", Mark::good, owner + " owns otn.Trelvik"});
    if (denied) return;
    if (reply.answered()) {
      m_checks.push_back({"policy", Mark::good, "this user may call the daemon"});
    } else {
      m_checks.push_back({"daemon answers", Mark::bad, "no", outcome.message});
    }
  }

  void status() {
    const Reply reply = m_bus.call(getStatus(), m_timeout);
    if (!reply.answered()) {
      m_checks.push_back({"version", Mark::note, "the daemon does not tell its status",
                          "its version is not known: trelvikctl is " TRELVIK_VERSION});
      return;
    }
    m_status = parseStatus(reply.values);
    const std::string version = m_status.text("version");
    if (version == TRELVIK_VERSION) {
      m_checks.push_back({"version", Mark::good, version});
    } else {
      m_checks.push_back({"version", Mark::bad, "daemon " + version + ", trelvikctl " TRELVIK_VERSION,
                          "install both from one release, and restart the daemon"});
    }
    const auto flag = [this](const char* name, const char* subject, const char* toDo) {
      const bool good = m_status.text(name) == "true";
      m_checks.push_back({subject, good ? Mark::good : Mark::bad, good ? "yes" : "no", good ? "" : toDo});
    };
    flag("opsConnected", "connected to ISS", "start ISS: trelvikctl iss start");
    flag("issReady", "ISS ready", "wait for it, or see ISS's own log");
  }

  void mac() {
    std::string address = m_status.text("boardMac");
    if (address.empty() && !readEnvironment(m_pid, "ethaddr_first", address)) {
      m_checks.push_back({"board MAC", Mark::note, "this user does not see it", "ask as root"});
    } else if (isMac(address)) {
      m_checks.push_back({"board MAC", Mark::good, address});
    } else {
      m_checks.push_back({"board MAC", Mark::bad, address.empty() ? "not set" : address,
                          "set ethaddr_first in /etc/default/trelvik, and restart the daemon"});
    }
  }

  static bool isMac(const std::string& text) {
    const std::vector<std::string> bytes = split(text, ':');
    const auto isByte = [](const std::string& byte) {
      return !byte.empty() && byte.size() <= 2 &&
             byte.find_first_not_of("0123456789abcdefABCDEF") == std::string::npos;
    };
    const bool none = text.find_first_not_of("0:") == std::string::npos;
    return !none && bytes.size() == 6 && std::ranges::all_of(bytes, isByte);
  }

  void unit() {
    const BusCall find{.service = "org.freedesktop.systemd1",
                       .path = "/org/freedesktop/systemd1",
                       .interface = "org.freedesktop.systemd1.Manager",
                       .method = "GetUnitByPID",
                       .arguments = {{"pid", static_cast<uint32_t>(m_pid)}}};
    const Reply found = m_bus.call(find, m_timeout);
    const std::string* path =
        found.answered() && !found.values.empty() ? std::get_if<std::string>(&found.values[0]) : nullptr;
    if (path == nullptr) {
      m_checks.push_back({"unit", Mark::note, "no unit of systemd runs the daemon",
                          "where systemd is: systemctl enable --now trelvik, so that it is started again"});
      return;
    }
    const auto property = [&](const char* name) {
      const Reply reply =
          m_bus.call({.service = "org.freedesktop.systemd1",
                      .path = *path,
                      .interface = "org.freedesktop.DBus.Properties",
                      .method = "Get",
                      .arguments = {{"interface", std::string("org.freedesktop.systemd1.Unit")},
                                    {"name", std::string(name)}}},
                     m_timeout);
      const auto* value =
          reply.answered() && !reply.values.empty() ? std::get_if<std::string>(&reply.values[0]) : nullptr;
      return value == nullptr ? std::string("?") : *value;
    };
    m_checks.push_back({"unit", Mark::good, property("Id") + ", " + property("ActiveState")});
  }

  std::chrono::milliseconds m_timeout;
  Bus m_bus;
  pid_t m_pid = 0;
  DaemonStatus m_status;
  Checks m_checks;
};

const char* word(Mark state) {
  return state == Mark::good ? "good" : state == Mark::bad ? "bad" : "note";
}

Outcome examine(Context& context) {
  Checks checks = BusChecks(context).all();
  std::ranges::move(checkSystem(), std::back_inserter(checks));
  Outcome outcome;
  Node rows = Node::list();
  size_t bad = 0;
  for (const Check& check : checks) {
    bad += check.state == Mark::bad ? 1 : 0;
    rows.add(Node::object()
                 .add("state", {word(check.state), check.state})
                 .add("check", check.subject)
                 .add("found", check.found)
                 .add("toDo", check.toDo));
  }
  outcome.data.add("checks", std::move(rows));
  if (bad > 0) {
    outcome.status = Exit::failed;
    outcome.message = std::to_string(bad) + " of " + std::to_string(checks.size()) +
                      " checks are bad; the last column says what to do";
  } else {
    outcome.message = "nothing is bad";
  }
  return outcome;
}

}  // namespace

void addDoctor(Command root) {
  root.sub("doctor", "looks at bus, daemon, port, scripts, devices and settings, and says what to do")
      .run(examine);
}

}  // namespace ctl
