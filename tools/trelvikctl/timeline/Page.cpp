#include "timeline/Page.h"

#include <algorithm>
#include <unordered_map>

#include "base/Node.h"
#include "timeline/Report.h"
#include "timeline/pageFiles.h"

namespace ctl {
namespace {

using std::chrono::duration_cast;
using std::chrono::microseconds;

/// Packs a history: rows of numbers, each text once. The page's model.js takes it apart again.
class Packer {
 public:
  explicit Packer(const History& history) : m_history(history), m_begin(firstTime(history)) { text(""); }

  Node pack() {
    Node requests = Node::list();
    for (const TracedRequest& one : m_history.requests) requests.add(request(one));
    Node marks = Node::list();
    for (const LogMark& mark : m_history.marks) {
      marks.add(Node::list().add(time(mark.when)).add(static_cast<int>(mark.kind)).add(text(mark.text)));
    }
    Node ring = Node::list();
    for (const RingSample& sample : m_history.ring) {
      ring.add(Node::list().add(time(sample.when)).add(sample.used));
    }
    Node notes = Node::list();
    for (const std::string& note : m_history.notes) notes.add(note);
    Node packed = Node::object();
    packed.add("t0", duration_cast<microseconds>(m_begin).count())
        .add("digits", digits())
        .add("summary", summary(m_history))
        .add("notes", std::move(notes))
        .add("kinds", names(kindName, RequestKind::lifecycle))
        .add("endings", names(endingName, Ending::unanswered))
        .add("markKinds", names(markName, MarkKind::warning))
        .add("requests", std::move(requests))
        .add("marks", std::move(marks))
        .add("ring", std::move(ring))
        .add("texts", std::move(m_texts));
    return packed;
  }

 private:
  static LogTime firstTime(const History& history) {
    LogTime first = history.marks.empty() ? LogTime::max() : history.marks.front().when;
    if (!history.requests.empty()) first = std::min(first, beginOf(history.requests.front()));
    return first == LogTime::max() ? LogTime{} : first;
  }

  template <typename Kind>
  static Node names(const char* (*nameOf)(Kind), Kind last) {
    Node list = Node::list();
    for (int i = 0; i <= static_cast<int>(last); ++i) list.add(nameOf(static_cast<Kind>(i)));
    return list;
  }

  /// Behind the point of a second, as exact as the log.
  int digits() const {
    if (m_history.resolution >= std::chrono::seconds(1)) return 0;
    return m_history.resolution >= std::chrono::milliseconds(1) ? 3 : 6;
  }

  Node time(const MaybeTime& when) const {
    return when ? Node(duration_cast<microseconds>(*when - m_begin).count()) : Node();
  }

  Node text(const std::string& text) {
    const auto [place, isNew] = m_places.try_emplace(text, m_places.size());
    if (isNew) m_texts.add(text);
    return place->second;
  }

  Node message(const TracedMessage& message) {
    Node row = Node::list();
    row.add(message.slot).add(text(message.type));
    for (const MaybeTime& when : {message.queued, message.sendBegin, message.sent, message.captured,
                                  message.answerCaptured, message.answered, message.handled}) {
      row.add(time(when));
    }
    // What the capture has says more than what the log has.
    row.add(text(message.refusal))
        .add(text(message.requestDecoded))
        .add(text(message.answerDecoded))
        .add(text(message.answerDecoded.empty() ? message.dump : std::string()));
    return row;
  }

  Node request(const TracedRequest& request) {
    Node ports = Node::list();
    for (const uint32_t port : request.ports) ports.add(port);
    Node messages = Node::list();
    for (const TracedMessage& one : request.messages) messages.add(message(one));
    Node row = Node::list();
    row.add(static_cast<int>(request.kind)).add(static_cast<int>(request.ending));
    for (const MaybeTime& when :
         {request.arrived, request.arrivedLast, request.workBegin, request.workEnd, request.replied}) {
      row.add(time(when));
    }
    row.add(text(request.text)).add(text(request.reason)).add(std::move(ports)).add(std::move(messages));
    return row;
  }

  const History& m_history;
  LogTime m_begin;
  Node m_texts = Node::list();
  std::unordered_map<std::string, size_t> m_places;
};

/// JSON that cannot end the element that it stands in.
std::string inScript(const std::string& json) {
  std::string safe;
  safe.reserve(json.size());
  for (const char c : json) {
    if (c == '<') {
      safe += "\\u003c";
    } else {
      safe += c;
    }
  }
  return safe;
}

/// Puts a text in the place of a mark of the frame.
void fill(std::string& page, std::string_view mark, std::string_view text) {
  page.replace(page.find(mark), mark.size(), text);
}

}  // namespace

std::string historyPage(const History& history) {
  std::string page(pageFrame);
  // From the end, so that no text is taken for a mark.
  fill(page, "@SCRIPT@", pageScript);
  fill(page, "@DATA@", inScript(toJson(Packer(history).pack())));
  fill(page, "@STYLE@", pageStyle);
  return page;
}

}  // namespace ctl
