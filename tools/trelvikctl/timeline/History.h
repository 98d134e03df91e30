// What a log and a capture tell of the daemon's requests. Plain data. A time that they do not tell is not
// there; one that they tell in bounds only has two.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "timeline/LogLine.h"

namespace ctl {

using MaybeTime = std::optional<LogTime>;

enum class RequestKind : uint8_t {
  unknown,
  port,
  rule,
  syncE,
  smartSfp,
  redundancy,
  counters,
  debug,
  lifecycle
};
const char* kindName(RequestKind kind);

/// One message of a request, on its way to ISS and back.
struct TracedMessage {
  int slot = -1;        ///< of the ring; -1 = not told
  std::string type;     ///< "FLUSH_CMD"; empty = not told
  MaybeTime queued;     ///< the worker puts it into its slot
  MaybeTime sendBegin;  ///< the sender takes it
  MaybeTime sent;
  MaybeTime answered;   ///< the main thread finds an answer
  MaybeTime handled;    ///< and has routed it
  std::string refusal;  ///< ISS's reason
  std::string dump;     ///< the answer as the log shows it, in lines
  MaybeTime captured;   ///< as the capture has it
  MaybeTime answerCaptured;
  std::string requestDecoded;
  std::string answerDecoded;
};

enum class Ending : uint8_t { open, answered, refused, failed, givenUp, unanswered };
const char* endingName(Ending ending);

struct TracedRequest {
  RequestKind kind = RequestKind::unknown;
  MaybeTime arrived;      ///< the bus thread hands it to a worker, not before this
  MaybeTime arrivedLast;  ///< and not after this: the same time where the log tells
  MaybeTime workBegin;    ///< a worker has the ring's lock
  MaybeTime workEnd;
  MaybeTime replied;
  std::vector<TracedMessage> messages;
  std::string text;  ///< what it asks for, as the log has it
  std::vector<uint32_t> ports;
  Ending ending = Ending::open;
  std::string reason;  ///< of an ending that is not good
};

enum class MarkKind : uint8_t { refusal, silence, reconnect, kick, full, link, state, warning };
const char* markName(MarkKind kind);

struct LogMark {
  LogTime when{};
  MarkKind kind = MarkKind::warning;
  std::string text;
};

struct RingSample {
  LogTime when{};
  int used = 0;
};

struct History {
  std::vector<TracedRequest> requests;  ///< by their first time
  std::vector<LogMark> marks;
  std::vector<RingSample> ring;
  LogTime resolution{};  ///< the coarsest of the log's times
  size_t daemonLines = 0;
  size_t otherLines = 0;
  std::vector<std::string> notes;  ///< what could not be told, and why
};

/// The first and the last time that a request shows.
LogTime beginOf(const TracedRequest& request);
LogTime endOf(const TracedRequest& request);

}  // namespace ctl
