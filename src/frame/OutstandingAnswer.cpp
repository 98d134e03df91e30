#include "frame/OutstandingAnswer.h"

#include <algorithm>
#include <string_view>
#include <utility>

#include "OBstubReply.h"
#include "TraceObject.h"
#include "frame/mainPlace.h"
#include "frame/slotReply.h"
#include "link/MsgArray.h"
#include "link/SrvDbg.h"
#include "printable.h"

namespace {

constexpr int maxLimit = 86400;  ///< s

AnswerWatch::Ring ringNow() REQUIRES(mutex) {
  return {answerOutstanding, answerSentAt, issReady != 0};
}

int waitingBehind() {
  return slotsInUse(writepointer, readpointer) - 1;
}

/// The message at the read index and what is left of its request.
int messagesLeft() REQUIRES(mutex) {
  const MsgArrayEntry& slot = MsgArray[readpointer];
  return std::clamp(slot.msgCount - slot.msgNo + 1, 1, slotsInUse(writepointer, readpointer));
}

const char* whoIsTold(MsgSource source) {
  switch (source) {
    case MsgSource::Debug:
      return "its client gets its request back";
    case MsgSource::Redundancy:
      return "ISS may not know the state";
    default:
      return "its caller gets the values of its request";
  }
}

/// 0 for a text that is no number from 1 to 86400.
int limitOf(std::string_view text) {
  int value = 0;
  for (const char c : text) {
    if (c < '0' || c > '9') return 0;
    value = std::min(value * 10 + (c - '0'), maxLimit + 1);
  }
  return value <= maxLimit ? value : 0;
}

}  // namespace

std::chrono::seconds readAnswerLimit(const char* text) {
  if (text == nullptr) return {};
  const int limit = limitOf(text);
  if (limit == 0) {
    LOG(ERROR, atMain, HERE,
        "TRELVIK_ANSWER_LIMIT is \"%s\" and not a number of seconds from 1 to %d: no message to ISS is given "
        "up",
        Printable(text).c_str(), maxLimit);
  } else {
    LOG(INFO, atMain, HERE, "a message that ISS does not answer within %d s is given up", limit);
  }
  return std::chrono::seconds(limit);
}

void giveUpRequest(SrvDbg& debugSocket) {
  MsgArrayEntry& slot = MsgArray[readpointer];
  if (slot.source == MsgSource::Debug) {
    debugSocket.sendReply(&slot.msg, sizeof slot.msg);
  } else {
    replyWithoutAnswer(slot);
  }
  OBstubReply::release(std::exchange(slot.reply, nullptr));
  for (int left = messagesLeft(); left > 0; --left) {
    MsgArray[readpointer].reply = nullptr;
    consumeSlot();
  }
  IssProcessing = 0;
  answerRouted();
}

bool OutstandingAnswer::look(AnswerWatch::Time now) {
  if (!mutex.tryLock()) {
    busy(now);
    return false;
  }
  bool close = false;
  for (;;) {
    const AnswerWatch::Verdict verdict = m_watch.look(now, ringNow());
    if (verdict == AnswerWatch::Verdict::Quiet) break;
    if (act(verdict, now)) close = true;
  }
  mutex.unlock();
  return close;
}

void OutstandingAnswer::takeRing() {
  while (!mutex.tryLockFor(AnswerWatch::busyInterval)) busy(AnswerWatch::Clock::now());
}

void OutstandingAnswer::busy(AnswerWatch::Time now) {
  if (m_watch.busy(now) != AnswerWatch::Verdict::TellBlocked) return;
  LOG(WARNING, atMain, HERE,
      "ISS has not taken a message for %d s, and nothing else can be queued or sent: RP=%d WP=%d",
      static_cast<int>(m_watch.age(now).count()), static_cast<int>(readpointer),
      static_cast<int>(writepointer));
}

bool OutstandingAnswer::act(AnswerWatch::Verdict verdict, AnswerWatch::Time now) {
  const MsgArrayEntry& slot = MsgArray[readpointer];
  const int age = static_cast<int>(m_watch.age(now).count());
  switch (verdict) {
    case AnswerWatch::Verdict::TellWaiting:
      m_told = slotText(slot);
      LOG(WARNING, atMain, HERE, "no answer from ISS for %d s: %s; %d wait behind it", age, m_told.text,
          waitingBehind());
      break;
    case AnswerWatch::Verdict::TellAnswered:
      LOG(NOTICE, atMain, HERE, "ISS answered after %d s: %s", age, m_told.text);
      break;
    case AnswerWatch::Verdict::TellUnblocked:
      LOG(NOTICE, atMain, HERE, "ISS takes messages again");
      break;
    case AnswerWatch::Verdict::GiveUpLost:
    case AnswerWatch::Verdict::GiveUpLateOffline:
    case AnswerWatch::Verdict::GiveUpLate: {
      const bool late = verdict == AnswerWatch::Verdict::GiveUpLate;
      LOG(ERROR, atMain, HERE, "gave up %s, sent %d s ago: %s; %s, %d more of its messages are not sent%s",
          slotText(slot).text, age,
          verdict == AnswerWatch::Verdict::GiveUpLost ? "the connection was lost before ISS answered"
                                                      : "ISS did not answer within TRELVIK_ANSWER_LIMIT",
          whoIsTold(slot.source), messagesLeft() - 1,
          late ? "; the connection is closed, for a late answer would be taken for another message's" : "");
      giveUpRequest(m_debugSocket);
      // Before the sender can go on: it must not send on a connection that is about to be closed.
      if (late) issReady = 0;
      return late;
    }
    case AnswerWatch::Verdict::Quiet:  // GCOV_EXCL_LINE: look() handles these two itself
    case AnswerWatch::Verdict::TellBlocked:
      break;  // GCOV_EXCL_LINE: as above
  }
  return false;
}

void OutstandingAnswer::connectionLost() {
  m_watch.connectionLost(ringNow());
}
