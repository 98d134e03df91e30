#include "timeline/CaptureJoin.h"

#include <algorithm>

#include "ops/Records.h"
#include "record/OpsDecoder.h"
#include "timeline/Arguments.h"

namespace ctl {
namespace {

/// What a message may take longer to be seen by one side than by the other.
constexpr std::chrono::milliseconds slack{2};

/// A message to ISS, and its answer.
struct Exchange {
  LogTime when{};
  uint32_t type = 0;
  std::string request;
  MaybeTime answered;
  std::string answer;
};

std::vector<Exchange> exchangesIn(const std::vector<sim::CapturedConnection>& connections) {
  std::vector<Exchange> exchanges;
  size_t open = SIZE_MAX;  // the connection whose last exchange may still be answered
  eachRecord(connections, [&](size_t connection, const sim::CapturedBytes& bytes, const OtnIpcMsg& record) {
    if (bytes.direction == sim::Direction::in) {
      exchanges.push_back({bytes.when, record.msgType, sim::decodeRecord(record), {}, {}});
      open = connection;
    } else if (open == connection && record.msgType == exchanges.back().type && !exchanges.back().answered) {
      exchanges.back().answered = bytes.when;
      exchanges.back().answer = sim::decodeRecord(record);
    }
  });
  return exchanges;
}

struct Sent {
  TracedRequest* request;
  TracedMessage* message;
};

std::vector<Sent> sentMessages(History& history) {
  std::vector<Sent> sent;
  for (TracedRequest& request : history.requests) {
    for (TracedMessage& message : request.messages) {
      if (message.sendBegin) sent.push_back({&request, &message});
    }
  }
  std::ranges::stable_sort(sent, {}, [](const Sent& one) { return *one.message->sendBegin; });
  return sent;
}

bool fits(const TracedMessage& message, const Exchange& exchange, LogTime tolerance) {
  if (exchange.when + tolerance < *message.sendBegin) return false;
  if (message.answered && exchange.when > *message.answered + tolerance) return false;
  return message.type.empty() || message.type == msgTypeName(exchange.type);
}

void put(const Sent& sent, Exchange& exchange) {
  sent.message->type = msgTypeName(exchange.type);
  sent.message->captured = exchange.when;
  sent.message->answerCaptured = exchange.answered;
  addPorts(exchange.request, sent.request->ports);
  sent.message->requestDecoded = std::move(exchange.request);
  sent.message->answerDecoded = std::move(exchange.answer);
}

}  // namespace

void joinCapture(const std::vector<sim::CapturedConnection>& connections, History& history) {
  std::vector<Exchange> exchanges = exchangesIn(connections);
  const size_t all = exchanges.size();
  size_t joined = 0;
  if (history.resolution < std::chrono::seconds(1)) {
    const LogTime tolerance = history.resolution + slack;
    auto next = exchanges.begin();
    for (const Sent& sent : sentMessages(history)) {
      while (next != exchanges.end() && next->when + tolerance < *sent.message->sendBegin) ++next;
      if (next == exchanges.end()) break;
      if (!fits(*sent.message, *next, tolerance)) continue;
      put(sent, *next++);
      ++joined;
    }
  }
  if (joined < all) {
    history.notes.push_back(std::to_string(all - joined) + " of " + std::to_string(all) +
                            " captured messages to ISS could not be told to be one of the log's");
  }
}

}  // namespace ctl
