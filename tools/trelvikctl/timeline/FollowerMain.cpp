// What the main thread says of messages, answers and replies.
#include "timeline/Arguments.h"
#include "timeline/Follower.h"

namespace ctl {
namespace {

/// "FLUSH_CMD" of "Msg Type = FLUSH_CMD [16]".
std::string typeInDump(std::string_view dump) {
  constexpr std::string_view before = "Msg Type = ";
  if (!dump.starts_with(before)) return {};
  dump.remove_prefix(before.size());
  return std::string(dump.substr(0, dump.find(' ')));
}

/// What stands between the first two quotes.
std::string quotedPart(const std::string& text) {
  const size_t open = text.find('"');
  const size_t close = text.rfind('"');
  return open < close ? text.substr(open + 1, close - open - 1) : text;
}

}  // namespace

void Follower::onDump(const LogLine& line) {
  // Only what printPacket writes is the message; the rest is what the daemon does with it.
  if (line.function != "printPacket" || m_from == Incoming::none) return;
  if (!m_dump.empty()) m_dump += '\n';
  m_dump += line.text;
}

bool Follower::onMain(const LogLine& line) {
  if (line.function != "main" || line.source != "main") return false;
  if (line.text.starts_with("Message from OPS received")) {
    m_incoming = line.when;
    m_from = Incoming::answer;
    m_routed = false;
    m_dump.clear();
  } else if (line.text.starts_with("Message from debug server received")) {
    m_incoming = line.when;
    m_from = Incoming::debugRequest;
    m_dump.clear();
  } else if (line.text.starts_with("main thread: send signal") ||
             line.text.starts_with("Out of Mem for debug")) {
    debugQueued(line);
  } else if (line.text.starts_with("gave up ")) {
    giveUp(line);
  } else if (line.text.starts_with("ISS refused ")) {
    if (TracedMessage* const message = front()) message->refusal = quotedPart(line.text);
    if (TracedRequest* const request = frontRequest()) {
      addPorts(line.text, request->ports);
    }
  } else {
    onRoute(line);
  }
  return true;
}

void Follower::onRoute(const LogLine& line) {
  if (line.text.starts_with("MESSAGE SOURCE ")) {
    m_routed = line.text != "MESSAGE SOURCE 0" && front() != nullptr;
    if (!m_routed) return;
    front()->answered = m_incoming;
    // The sender may tell only afterwards that it has sent what is answered here.
    if (front()->sent > m_incoming) front()->sent = m_incoming;
    front()->dump = m_dump;
    front()->type = typeInDump(m_dump);
    return;
  }
  if (!m_routed) {
    if (line.text.starts_with("send signal cond2")) m_from = Incoming::none;
    return;
  }
  if (line.text.starts_with("send reply over OTNbus") ||
      line.text.starts_with("Sending reply msg to debug")) {
    frontRequest()->replied = line.when;
    if (frontRequest()->ending == Ending::open) frontRequest()->ending = Ending::answered;
  } else if (line.text.starts_with("Redundancystate reply msg received")) {
    frontRequest()->ending = Ending::unanswered;
  } else if (line.text.starts_with("send signal cond2")) {
    consume(line.when);
  }
}

void Follower::consume(LogTime when) {
  front()->handled = when;
  m_ring.pop_front();
  m_routed = false;
  m_from = Incoming::none;
  sample(when);
}

void Follower::giveUp(const LogLine& line) {
  TracedRequest* const request = frontRequest();
  if (request == nullptr) return;
  request->ending = Ending::givenUp;
  request->reason = line.text;
  addPorts(line.text, request->ports);
  const size_t number = m_ring.front().request;
  while (!m_ring.empty() && m_ring.front().request == number) m_ring.pop_front();
  m_routed = false;
  sample(line.when);
}

void Follower::debugQueued(const LogLine& line) {
  if (m_from != Incoming::debugRequest) return;
  TracedRequest& request = begin(RequestKind::debug);
  request.arrived = request.arrivedLast = m_incoming;
  request.text = typeInDump(m_dump);
  m_from = Incoming::none;
  if (line.text.starts_with("Out of Mem")) {
    request.ending = Ending::failed;
    request.reason = "the ring was full";
    return;
  }
  // Its slot is told when it is sent.
  queueMessage(m_history.requests.size() - 1, -1, line.when);
}

}  // namespace ctl
