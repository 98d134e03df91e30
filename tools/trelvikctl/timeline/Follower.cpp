#include "timeline/Follower.h"

#include <algorithm>
#include <charconv>

#include "timeline/Arguments.h"
#include "timeline/Marks.h"

namespace ctl {
namespace {

constexpr int ringSize = 20;

struct Handler {
  std::string_view function;
  std::string_view text;
  RequestKind kind;
};

constexpr Handler handlers[] = {
    {"setPortParams", "SetPortParam message received", RequestKind::port},
    {"setIssMgrParams", "ruleType=", RequestKind::rule},
    {"setSyncEParam", "setSyncEParam:", RequestKind::syncE},
    {"setSmartSfpParams", "setSmartSfpParams:", RequestKind::smartSfp},
    {"setRedundantState", "setRedundantState:", RequestKind::redundancy},
    {"getInterfaceReceptionAndTransmissionCounters", "getIssParam message", RequestKind::counters},
};

/// How a worker's first line begins, after it has taken the ring's lock.
constexpr Handler workers[] = {
    {"run_iss_script_thread", "Processing Setportparam", RequestKind::port},
    {"run_iss_IssMgr_thread", "ruleType=", RequestKind::rule},
    {"run_iss_syncE_thread", "Processing SetSyncEParam", RequestKind::syncE},
    {"run_iss_SmartSfp_thread", "stub-process-thread:", RequestKind::smartSfp},
    {"run_iss_redundancy_thread", "Processing setRedundantState", RequestKind::redundancy},
    {"run_iss_get_data_thread", "Processing getparams", RequestKind::counters},
};

/// The number behind `name`; -1 without one.
int numberBehind(std::string_view text, std::string_view name) {
  const size_t at = text.find(name);
  if (at == std::string_view::npos) return -1;
  int number = -1;
  std::from_chars(text.data() + at + name.size(), text.data() + text.size(), number);
  return number;
}

RequestKind kindOfSource(int source) {
  constexpr RequestKind kinds[] = {RequestKind::unknown,   RequestKind::port, RequestKind::debug,
                                   RequestKind::syncE,     RequestKind::rule, RequestKind::smartSfp,
                                   RequestKind::redundancy};
  return source >= 0 && source < static_cast<int>(std::size(kinds)) ? kinds[source] : RequestKind::unknown;
}

}  // namespace

void Follower::take(const LogLine& line) {
  m_history.resolution = std::max(m_history.resolution, line.resolution);
  if (const std::optional<LogMark> mark = markOf(line)) m_history.marks.push_back(*mark);
  if (line.source == "monitor") return;
  ++m_history.daemonLines;
  const bool anew = line.pid != 0 && m_pid != 0 && line.pid != m_pid;
  if (line.pid != 0) m_pid = line.pid;
  if (anew || line.text.starts_with("OTNBUS thread started")) forget();
  if (const int level = numberBehind(line.text, "Set trace level to ["); level >= 0 && level < 9) forget();
  if (line.source == "MsgHandle") return onDump(line);
  if (!onWorker(line) && !onBusThread(line) && !onSender(line)) onMain(line);
}

void Follower::gap(const std::string& why) {
  forget();
  m_history.notes.push_back(why);
}

bool Follower::onBusThread(const LogLine& line) {
  for (const Handler& handler : handlers) {
    if (line.function != handler.function) continue;
    if (line.text.starts_with(handler.text)) {
      m_arrivals.add(handler.kind, line.text, line.when);
    } else if (TracedRequest request; line.text.starts_with("Failed to create thread") &&
                                      m_arrivals.takeLast(handler.kind, request)) {
      request.ending = Ending::failed;
      request.reason = line.text;
      m_history.requests.push_back(std::move(request));
    }
    return true;
  }
  if (line.function == "triggerDataUser") {
    TracedRequest& request = begin(RequestKind::lifecycle);
    request.arrived = request.arrivedLast = line.when;
    request.text = line.text;
    m_trigger = m_history.requests.size() - 1;
    return true;
  }
  return false;
}

bool Follower::onWorker(const LogLine& line) {
  if (line.function == "run_och_thread" && m_trigger) {
    TracedRequest& request = m_history.requests[*m_trigger];
    if (!request.workBegin) request.workBegin = line.when;
    request.workEnd = line.when;
    return true;
  }
  if (!line.function.starts_with("run_iss_")) return false;
  for (const Handler& worker : workers) {
    if (line.function != worker.function || !line.text.starts_with(worker.text)) continue;
    // A refusal names its rule in the same words.
    if (line.level != "DEBUG2" && line.level != "DEBUG3") continue;
    endWork(line.when, false);
    TracedRequest& request = begin(worker.kind);
    request.workBegin = line.when;
    request.text = line.text;
    m_working = m_history.requests.size() - 1;
    m_workQueued = false;
    m_workKeyed = worker.kind != RequestKind::syncE;
    if (m_workKeyed) m_arrivals.takeUp(request);
    addPorts(request.text, request.ports);
    return true;
  }
  if (!m_working || line.text == "stopped" || line.text.ends_with(" stopped")) return true;
  TracedRequest& request = m_history.requests[*m_working];
  if (!m_workKeyed && line.text.starts_with("enableFilter=")) {
    request.text = line.text;
    m_arrivals.takeUp(request);
    m_workKeyed = true;
  }
  if (line.text.starts_with("message writep")) {
    queueMessage(*m_working, numberBehind(line.text, "ter "), line.when);
    m_workQueued = true;
  } else if (line.text == "mutex unlock") {
    endWork(line.when, true);
  } else if (line.text.starts_with("Buffer overflow")) {
    request.ending = Ending::failed;
    request.reason = "the ring was full";
    endWork(line.when, true);
  } else if (line.level == "ERROR" || line.level == "WARNING") {
    request.reason = line.text;
  } else if (line.text.starts_with("ReleasePort:")) {
    addPorts(line.text, request.ports);
    request.text = line.text;
  }
  return true;
}

void Follower::endWork(LogTime when, bool told) {
  if (!m_working) return;
  TracedRequest& request = m_history.requests[*m_working];
  if (told) request.workEnd = when;
  if (!m_workQueued && request.ending == Ending::open) {
    request.ending = told ? Ending::unanswered : Ending::failed;
    if (request.reason.empty()) {
      request.reason = told ? "it asks for nothing: no message, no reply" : "the daemon itself refused it";
    }
  }
  m_working.reset();
}

void Follower::queueMessage(size_t request, int slot, LogTime when) {
  TracedMessage message;
  message.slot = slot;
  message.queued = when;
  m_history.requests[request].messages.push_back(std::move(message));
  m_ring.push_back({request, m_history.requests[request].messages.size() - 1});
  sample(when);
}

bool Follower::onSender(const LogLine& line) {
  if (line.function != "iss_comm") return false;
  if (line.text.starts_with("iss thread: sending msg to OPS")) {
    sendBegins(line);
  } else if (line.text.starts_with("Sending packet to OPS")) {
    if (TracedMessage* const message = front(); message != nullptr && message->sendBegin) {
      message->sent = line.when;
    }
  }
  return true;
}

void Follower::sendBegins(const LogLine& line) {
  endWork(line.when, false);
  const int rp = numberBehind(line.text, " rp:");
  const int wp = numberBehind(line.text, " wp:");
  const RequestKind kind = kindOfSource(numberBehind(line.text, " source:"));
  const auto sentNow = [&](const Queued& queued) {
    const TracedRequest& request = m_history.requests[queued.request];
    const TracedMessage& message = request.messages[queued.message];
    const RequestKind of = request.kind == RequestKind::counters ? RequestKind::port : request.kind;
    return of == kind && (message.slot == rp || message.slot < 0) && !message.sendBegin;
  };
  // What stands in front of it left the ring unseen.
  m_ring.erase(m_ring.begin(), std::ranges::find_if(m_ring, sentNow));
  if (m_ring.empty()) {
    TracedRequest& request = begin(kind);
    request.text = "its beginning is not in the log";
    TracedMessage message;
    message.slot = rp;
    request.messages.push_back(std::move(message));
    m_ring.push_front({m_history.requests.size() - 1, 0});
  }
  front()->slot = rp;
  front()->sendBegin = line.when;
  if (rp < 0 || wp < 0) return;
  m_unseen = std::max(0, (wp - rp + ringSize) % ringSize - static_cast<int>(m_ring.size()));
  sample(line.when);
}

TracedRequest& Follower::begin(RequestKind kind) {
  TracedRequest request;
  request.kind = kind;
  m_history.requests.push_back(std::move(request));
  return m_history.requests.back();
}

TracedMessage* Follower::front() {
  if (m_ring.empty()) return nullptr;
  return &m_history.requests[m_ring.front().request].messages[m_ring.front().message];
}

TracedRequest* Follower::frontRequest() {
  return m_ring.empty() ? nullptr : &m_history.requests[m_ring.front().request];
}

void Follower::sample(LogTime when) {
  const int used = static_cast<int>(m_ring.size()) + m_unseen;
  if (m_history.ring.empty() || m_history.ring.back().used != used) m_history.ring.push_back({when, used});
}

void Follower::forget() {
  m_ring.clear();
  m_unseen = 0;
  m_working.reset();
  m_trigger.reset();
  m_incoming.reset();
  m_from = Incoming::none;
  m_routed = false;
  size_t untold = 0;
  for (TracedRequest& request : m_arrivals.leftOver(untold)) {
    m_history.requests.push_back(std::move(request));
  }
  if (untold > 0) {
    m_history.notes.push_back(std::to_string(untold) +
                              " requests that look like others were not taken up by a worker");
  }
}

void Follower::finishUp(TracedRequest& request) const {
  for (const TracedMessage& message : request.messages) {
    addPorts(message.dump, request.ports);
    if (!message.refusal.empty() && request.ending != Ending::givenUp) {
      request.ending = Ending::refused;
      if (request.reason.empty()) request.reason = message.refusal;
    }
  }
}

History Follower::finish() {
  forget();
  std::erase_if(m_history.requests,
                [](const TracedRequest& request) { return beginOf(request) == LogTime::max(); });
  for (TracedRequest& request : m_history.requests) finishUp(request);
  std::ranges::stable_sort(m_history.requests, {}, beginOf);
  std::ranges::stable_sort(m_history.marks, {}, &LogMark::when);
  return std::move(m_history);
}

}  // namespace ctl
