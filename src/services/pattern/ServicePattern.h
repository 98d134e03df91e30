// How every request-handling service works, once.
//
// A handler on the bus thread copies its call into a request on the heap, hands it to a worker and returns.
// The worker takes the ring's mutex, builds the request's OPS messages, and queues them all or
// none. The reply is given by the router after OPS's last answer, or by the worker at once. A new service
// is one interface description, one class and its record builders: docs/adding-a-service.md.
#pragma once

#include <cerrno>
#include <memory>
#include <new>
#include <span>
#include <utility>

#include "OBstubReply.h"
#include "TraceObject.h"
#include "link/MsgArray.h"
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

 private:
  OBstubReply* m_reply;
};

/// Puts the request on the heap and has a worker run `run(Request*)` for it, which owns it then. Returns 0,
/// or the system's error number when there is no memory or no worker: the request is then deleted, and its
/// caller gets no reply. When the process stops while the request waits for a place it is deleted too, which
/// is no error.
template <auto run, class Request>
int startWorker(Request request) {
  std::unique_ptr<Request> kept(new (std::nothrow) Request(std::move(request)));
  if (kept == nullptr) return ENOMEM;
  Work work{[](void* argument) { run(static_cast<Request*>(argument)); }, kept.get(), 0};
  if constexpr (requires { kept->textSize(); }) work.textSize = kept->textSize();
  const int error = handToWorker(work);
  if (error == 0) static_cast<void>(kept.release());
  return error == ECANCELED ? 0 : error;
}

/// What a service's overflow line shows: its line numbers for the two ways in which the ring can be full.
struct OverflowLine {
  LogPlace place;
  int behindReader;
  int aheadOfReader;
};

/// Whether the ring has room for n messages now, as a whole; logs ERROR when not. With `mutex` held.
bool admitBatch(int32_t n, const OverflowLine& line);

/// Queues a request's messages; with the batch admitted. The reply goes with them; without
/// messages nobody will answer, and it stays with its owner. `logSlot(index)` writes the service's line for
/// each slot, `fillSlot(slot)` stores the service and its saved arguments.
template <class LogSlot, class FillSlot>
void queueBatch(std::span<const OtnIpcMsg> messages, MsgSource source, ReplyOwner& owner, LogSlot logSlot,
                FillSlot fillSlot) REQUIRES(mutex) {
  OBstubReply* reply = messages.empty() ? nullptr : owner.take();
  int32_t msgNo = 0;
  for (const OtnIpcMsg& message : messages) {
    logSlot(static_cast<int>(writepointer));
    MsgArrayEntry& slot = copyToSlot(message);
    slot.reply = reply;
    slot.msgNo = ++msgNo;
    slot.msgCount = static_cast<int32_t>(messages.size());
    slot.source = source;
    fillSlot(slot);
    advanceWritePointer();
  }
}
