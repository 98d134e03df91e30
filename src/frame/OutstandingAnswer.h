// Watches over the message that is with ISS: tells an operator when its answer does not come, and gives it up
// where a limit is set. Main thread; takes the ring's mutex where another thread does not hold it.
#pragma once

#include <chrono>

#include "frame/AnswerWatch.h"
#include "frame/slotText.h"
#include "link/MsgArray.h"

class SrvDbg;

/// The limit that the environment gives as whole seconds; 0 = none. A text that is no number from 1 to 86400
/// is an ERROR line and gives none; null gives none.
std::chrono::seconds readAnswerLimit(const char* text);

class OutstandingAnswer {
 public:
  OutstandingAnswer(std::chrono::seconds limit, SrvDbg& debugSocket)
      : m_watch(limit), m_debugSocket(debugSocket) {}

  /// To be called in each pass of the loop. True when a late answer may come on the connection, and would be
  /// taken for the next message's: it has to be closed, and nothing is sent on it any more.
  bool look(AnswerWatch::Time now) EXCLUDES(mutex);
  /// Takes the ring for a message that came. A sender that ISS keeps in its write holds it meanwhile, and an
  /// operator hears of that here: the loop does not go on before.
  void takeRing() ACQUIRE(mutex);
  AnswerWatch::Time lookAgain() const { return m_watch.lookAgain(); }
  void connectionLost() REQUIRES(mutex);

 private:
  void busy(AnswerWatch::Time now);
  bool act(AnswerWatch::Verdict verdict, AnswerWatch::Time now) REQUIRES(mutex);

  AnswerWatch m_watch;
  SrvDbg& m_debugSocket;
  SlotText m_told{};  ///< the message that an operator was told of
};

/// Gives up the message at the ring's read index with the rest of its request: consumes its slots, answers
/// its caller, and lets the sender go on.
void giveUpRequest(SrvDbg& debugSocket) REQUIRES(mutex);
