// How every request-handling service works, once.
//
// A handler on the bus thread copies its call into a request on the heap, hands it to a worker and returns.
// The worker takes the ring's mutex, builds the request's OPS messages, and queues them all or
// none. The reply is given by the router after OPS's last answer, or by the worker at once. A new service
// is one interface description, one class and its record builders: docs/adding-a-service.md.
#pragma once

#include <cerrno>
#include <cstdint>
#include <memory>
#include <new>
#include <utility>

#include "Guard.h"
#include "OBstubReply.h"
#include "TraceObject.h"
#include "link/MsgArray.h"
#include "link/Traffic.h"
#include "services/pattern/MessageBatch.h"
#include "services/pattern/Workers.h"

/// The one owner of a reply handle. Whoever answers, or passes the handle on, takes it; a request that ends
/// with its handle still here is one that gets no answer, and the handle is released.
class ReplyOwner {
 public:
  explicit ReplyOwner(OBstubReply* reply) : m_reply(reply) {}
  ~ReplyOwner() { OBstubReply::release(m_reply); }
  ReplyOwner(ReplyOwner&& other) noexcept : m_reply(other.take()) {}
  ReplyOwner(const ReplyOwner&) = delete;
  ReplyOwner& operator=(const ReplyOwner&) = delete;

  OBstubReply* take() { return std::exchange(m_reply, nullptr); }
  /// The same for whoever answers with it now: counted, once.
  OBstubReply* takeToAnswer(BusInterface interface) {
    if (owed()) countReply(interface);
    return take();
  }
  bool owed() const { return m_reply != nullptr; }

 private:
  OBstubReply* m_reply;
};

/// Puts the request on the heap and has a worker run `run(Request*)` for it, which owns it then. Returns 0,
/// or the system's error number when there is no memory or no worker: the request is then deleted, and its
/// caller gets no reply. When the process stops while the request waits for a place it is deleted too, which
/// is no error. A `Request::busInterface` is the interface to count it for.
template <auto run, class Request>
int startWorker(Request request) {
  if constexpr (requires { Request::busInterface; }) countArrival(Request::busInterface);
  std::unique_ptr<Request> kept(new (std::nothrow) Request(std::move(request)));
  if (kept == nullptr) return ENOMEM;
  Work work{[](void* argument) { run(static_cast<Request*>(argument)); }, kept.get(), 0};
  if constexpr (requires { kept->textSize(); }) work.textSize = kept->textSize();
  const int error = handToWorker(work);
  if (error == 0) static_cast<void>(kept.release());
  return error == ECANCELED ? 0 : error;
}

/// The numbers of the lines that end every worker, in their order.
struct TailLines {
  LogPlace place;
  int behindReader;   ///< the ring is full: the writer has wrapped behind the reader
  int aheadOfReader;  ///< the ring is full: the writer is ahead of the reader
  int signal;
  int unlock;
};

/// Whether the ring has room for n messages now, as a whole; logs ERROR when not.
bool admitBatch(const TailLines& lines, int32_t n) REQUIRES(mutex);
/// Counts a request that finds no room, and one that comes to no message and is never answered.
void countRefused(MsgSource source);
void countSilent(MsgSource source);
void logQueued(const TailLines& lines);

/// Queues a request's messages, all or none. False when the batch is refused or does not fit; its caller is
/// to be answered then. The reply goes with the messages; without one nobody will answer, and it stays with
/// its owner. `texts` writes the lines that are the service's own: locked(), slot(index), and split(count)
/// where it has one. `fill(slot)` stores the service and its saved arguments, and cannot fail.
template <class Texts, size_t most, class Fill>
bool queueBatch(const TailLines& lines, const Texts& texts, const MessageBatch<most>& batch, MsgSource source,
                ReplyOwner& owner, Fill fill) REQUIRES(mutex);

template <class Texts, size_t most, class Fill>
bool queueBatch(const TailLines& lines, const Texts& texts, const MessageBatch<most>& batch, MsgSource source,
                ReplyOwner& owner, Fill fill) {
  static_assert(noexcept(fill(MsgArray[0])), "half a batch in the ring would never be answered");
  texts.locked();
  const bool fits = admitBatch(lines, batch.count);
  if (!fits && batch.count > 0) countRefused(source);
  if (!fits || batch.refused) return false;
  if constexpr (requires { texts.split(batch.count); }) texts.split(batch.count);
  if (batch.count == 0 && owner.owed()) countSilent(source);
  OBstubReply* reply = batch.count == 0 ? nullptr : owner.take();
  for (int32_t i = 0; i < batch.count; ++i) {
    texts.slot(static_cast<int>(writepointer));
    MsgArrayEntry& slot = copyToSlot(batch.messages[i]);
    slot.reply = reply;
    slot.msgNo = i + 1;
    slot.msgCount = batch.count;
    slot.source = source;
    fill(slot);
    advanceWritePointer();
  }
  logQueued(lines);
  return true;
}

/// Runs `queue(request)` with `mutex` held, and wakes the sender when it returns true. Returns the same.
template <class Request>
bool withRing(bool (*queue)(Request&), Request& request) EXCLUDES(mutex) {
  const Guard guard(&mutex);
  if (!queue(request)) return false;
  wakeSender();
  return true;
}
