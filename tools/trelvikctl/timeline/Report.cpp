#include "timeline/Report.h"

#include <algorithm>
#include <cstdio>
#include <cstring>

namespace ctl {
namespace {

using std::chrono::duration_cast;
using std::chrono::microseconds;

Node timeNode(const MaybeTime& time) {
  return time ? Node(duration_cast<microseconds>(*time).count()) : Node();
}

Node textNode(const std::string& text) {
  return text.empty() ? Node() : Node(text);
}

Node portsNode(const TracedRequest& request) {
  Node ports = Node::list();
  for (const uint32_t port : request.ports) ports.add(port);
  return ports;
}

Node messageNode(const TracedMessage& message) {
  Node node = Node::object();
  node.add("slot", message.slot < 0 ? Node() : Node(message.slot))
      .add("type", textNode(message.type))
      .add("queued", timeNode(message.queued))
      .add("sendBegin", timeNode(message.sendBegin))
      .add("sent", timeNode(message.sent))
      .add("captured", timeNode(message.captured))
      .add("answerCaptured", timeNode(message.answerCaptured))
      .add("answered", timeNode(message.answered))
      .add("handled", timeNode(message.handled))
      .add("refusal", textNode(message.refusal))
      .add("request", textNode(message.requestDecoded))
      .add("answer", textNode(message.answerDecoded))
      .add("dump", textNode(message.dump));
  return node;
}

Node requestNode(const TracedRequest& request, size_t number) {
  Node messages = Node::list();
  for (const TracedMessage& message : request.messages) messages.add(messageNode(message));
  Node node = Node::object();
  node.add("number", number)
      .add("kind", kindName(request.kind))
      .add("ending", endingName(request.ending))
      .add("reason", textNode(request.reason))
      .add("ports", portsNode(request))
      .add("asks", textNode(request.text))
      .add("arrived", timeNode(request.arrived))
      .add("arrivedLast", timeNode(request.arrivedLast))
      .add("workBegin", timeNode(request.workBegin))
      .add("workEnd", timeNode(request.workEnd))
      .add("replied", timeNode(request.replied))
      .add("messages", std::move(messages));
  return node;
}

/// As exact as the log tells it.
std::string clock(LogTime when, LogTime resolution) {
  const DayHint day = dayOf(when);
  const auto micros = duration_cast<microseconds>(when).count() % 1'000'000;
  char text[32];
  snprintf(text, sizeof text, "%02d:%02d:%02d.%06d", day.tm_hour, day.tm_min, day.tm_sec,
           static_cast<int>(micros));
  const size_t whole = strlen("hh:mm:ss");
  if (resolution >= std::chrono::seconds(1)) return std::string(text, whole);
  return std::string(text, whole + (resolution >= std::chrono::milliseconds(1) ? 4 : 7));
}

std::string span(const MaybeTime& from, const MaybeTime& to) {
  if (!from || !to || *to < *from) return "-";
  char text[32];
  snprintf(text, sizeof text, "%.3f", static_cast<double>((*to - *from).count()) / 1e6);
  return text;
}

/// The sum over the messages of what lies between two of their times; "-" when one is missing.
std::string sum(const TracedRequest& request, MaybeTime TracedMessage::*from, MaybeTime TracedMessage::*to) {
  LogTime total{};
  for (const TracedMessage& message : request.messages) {
    if (!(message.*from) || !(message.*to)) return "-";
    total += *(message.*to) - *(message.*from);
  }
  return request.messages.empty() ? "-" : span(LogTime{}, total);
}

/// "1-4,7".
std::string portList(const std::vector<uint32_t>& ports) {
  std::string list;
  for (size_t i = 0; i < ports.size(); ++i) {
    const size_t first = i;
    while (i + 1 < ports.size() && ports[i + 1] == ports[i] + 1) ++i;
    list += (list.empty() ? "" : ",") + std::to_string(ports[first]);
    if (i > first) list += '-' + std::to_string(ports[i]);
  }
  return list.empty() ? "-" : list;
}

Mark colourOf(Ending ending) {
  switch (ending) {
    case Ending::answered:
      return Mark::good;
    case Ending::unanswered:
      return Mark::none;
    case Ending::open:
      return Mark::note;
    default:
      return Mark::bad;
  }
}

std::string endingText(const TracedRequest& request) {
  return std::string(endingName(request.ending)) + (request.reason.empty() ? "" : ": " + request.reason);
}

Node requestRow(const History& history, size_t index) {
  const TracedRequest& request = history.requests[index];
  const bool certain = request.arrived == request.arrivedLast;
  Node row = Node::object();
  row.add("number", index + 1)
      .add("time", clock(beginOf(request), history.resolution))
      .add("kind", kindName(request.kind))
      .add("ports", portList(request.ports))
      .add("messages", request.messages.size())
      .add("allMs", certain ? span(request.arrived, request.replied) : "-")
      .add("ringMs", sum(request, &TracedMessage::queued, &TracedMessage::sendBegin))
      .add("issMs", sum(request, &TracedMessage::sendBegin, &TracedMessage::answered))
      .add("ending", Node(endingText(request).c_str(), colourOf(request.ending)));
  return row;
}

Node marksNode(const History& history, bool asText) {
  Node marks = Node::list();
  for (const LogMark& mark : history.marks) {
    Node row = Node::object();
    if (asText) {
      row.add("time", clock(mark.when, history.resolution));
    } else {
      row.add("time", timeNode(mark.when));
    }
    marks.add(row.add("kind", markName(mark.kind)).add("text", mark.text));
  }
  return marks;
}

Node notesNode(const History& history) {
  Node notes = Node::list();
  for (const std::string& note : history.notes) notes.add(note);
  return notes;
}

}  // namespace

Node historyNode(const History& history) {
  Node requests = Node::list();
  for (size_t i = 0; i < history.requests.size(); ++i) {
    requests.add(requestNode(history.requests[i], i + 1));
  }
  Node ring = Node::list();
  for (const RingSample& sample : history.ring) {
    ring.add(Node::object().add("time", timeNode(sample.when)).add("used", sample.used));
  }
  Node node = Node::object();
  node.add("requests", std::move(requests))
      .add("marks", marksNode(history, false))
      .add("ring", std::move(ring))
      .add("resolution", timeNode(history.resolution))
      .add("daemonLines", history.daemonLines)
      .add("otherLines", history.otherLines)
      .add("notes", notesNode(history));
  return node;
}

std::string historyText(const History& history, bool colour) {
  Node requests = Node::list();
  for (size_t i = 0; i < history.requests.size(); ++i) requests.add(requestRow(history, i));
  std::string text;
  if (!requests.empty()) text += toText(requests, colour);
  if (!history.marks.empty()) text += '\n' + toText(marksNode(history, true), colour);
  text += '\n' + summary(history) + '\n';
  for (const std::string& note : history.notes) text += "note: " + printable(note) + '\n';
  return text;
}

std::string summary(const History& history) {
  const auto count = [&history](Ending ending) {
    return std::ranges::count(history.requests, ending, &TracedRequest::ending);
  };
  std::string text = std::to_string(history.requests.size()) + " requests";
  for (const Ending ending : {Ending::answered, Ending::refused, Ending::failed, Ending::givenUp,
                              Ending::unanswered, Ending::open}) {
    if (const auto number = count(ending); number > 0) {
      text += ", " + std::to_string(number) + ' ' + endingName(ending);
    }
  }
  return text + "; " + std::to_string(history.daemonLines) + " lines of the daemon, " +
         std::to_string(history.otherLines) + " others";
}

}  // namespace ctl
