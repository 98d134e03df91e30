#include "timeline/History.h"

#include <algorithm>

namespace ctl {
namespace {

template <typename See>
void eachTime(const TracedRequest& request, See see) {
  const auto look = [&see](const MaybeTime& time) {
    if (time) see(*time);
  };
  look(request.arrived);
  look(request.workBegin);
  look(request.workEnd);
  for (const TracedMessage& message : request.messages) {
    for (const MaybeTime& time :
         {message.queued, message.sendBegin, message.sent, message.answered, message.handled}) {
      look(time);
    }
  }
  look(request.replied);
}

}  // namespace

const char* kindName(RequestKind kind) {
  switch (kind) {
    case RequestKind::port:
      return "port";
    case RequestKind::rule:
      return "rule";
    case RequestKind::syncE:
      return "SyncE";
    case RequestKind::smartSfp:
      return "Smart SFP";
    case RequestKind::redundancy:
      return "redundancy";
    case RequestKind::counters:
      return "counters";
    case RequestKind::debug:
      return "debug socket";
    case RequestKind::lifecycle:
      return "ISS life cycle";
    case RequestKind::unknown:
      break;
  }
  return "unknown";
}

const char* endingName(Ending ending) {
  switch (ending) {
    case Ending::answered:
      return "answered";
    case Ending::refused:
      return "refused";
    case Ending::failed:
      return "failed";
    case Ending::givenUp:
      return "given up";
    case Ending::unanswered:
      return "no reply due";
    case Ending::open:
      break;
  }
  return "end not in the log";
}

const char* markName(MarkKind kind) {
  switch (kind) {
    case MarkKind::refusal:
      return "refusal";
    case MarkKind::silence:
      return "silence";
    case MarkKind::reconnect:
      return "reconnect";
    case MarkKind::kick:
      return "kick";
    case MarkKind::full:
      return "ring full";
    case MarkKind::link:
      return "link";
    case MarkKind::state:
      return "state";
    case MarkKind::warning:
      break;
  }
  return "warning";
}

LogTime beginOf(const TracedRequest& request) {
  LogTime first = LogTime::max();
  eachTime(request, [&first](LogTime time) { first = std::min(first, time); });
  return first;
}

LogTime endOf(const TracedRequest& request) {
  LogTime last{};
  eachTime(request, [&last](LogTime time) { last = std::max(last, time); });
  return last;
}

}  // namespace ctl
