/* The ring and who meets there: workers, the sender, the main thread's loop, and OPS beyond the connection.
 * docs/model.md says which step stands for which function.
 *
 *   LIMIT     TRELVIK_ANSWER_LIMIT is set
 *   WILD      OPS does what it likes: it does not read, does not answer, or closes the connection
 *   MUTE      and may never say that ISS is ready
 *   SPURIOUS  a wait of the sender ends without a signal, once
 *   STRAY     OPS sends an answer that nobody waits for, once
 *   SINGLE    each request is one message
 *   NARROW    fewer beginnings, where the above makes more of each
 */
#include "link.pml"

#define SLOTS 4
#include "admit.pml"

#define DEBUG 3  /* the request of the debug client */
byte count[4];   /* messages of each request */

typedef Slot {
  byte request;  /* 0: source None */
  byte no;
  byte seq       /* its number in the order of queueing, from 1 */
}
Slot slot[SLOTS];

bool debugAsked = true;

/* The connection. What was sent on it is gone with it. */
mtype = { READY, REPORT, ANSWER };
chan toOps = [2] of { byte };
chan toMain = [2] of { mtype, byte };
bool open;       /* OPS's end */
bool connected;  /* the main thread's end */
bool said;       /* ISS has said that it is ready */
bool deaf;       /* ISS does not read */
byte owed;       /* the message that OPS has and has not answered */
bool silent;     /* and never will */
bool mute;       /* ISS never says that it is ready */
#ifdef STRAY
bool stray = true;
#endif
byte closings;   /* how often OPS may close the connection yet */

/* The answer watch. */
bool late;       /* the limit since sentAt has passed */
bool busy;       /* look again: another thread held the ring */
byte sentAt;     /* as in the daemon, it tells a message from every other: its seq */
byte lost;       /* m_lost */

/* What the properties look at. */
byte queued;
byte lastSent;
byte lastConsumed;
bool replies[4];
byte consumed[4];
bool mainHeld;   /* the main thread has read a message and wants the ring */
bool stalled;    /* OPS has, or has lost, a message that it will never answer */

inline reply(request) {
  d_step {
    assert(replies[request] == 0);
    replies[request] = 1
  }
}

inline noAnswerWillCome() {
#ifndef LIMIT
  stalled = true
#else
  skip
#endif
}

inline sendBegins() {
  d_step {
    /* In the order of the ring; none is left out but what was given up, or what a stray answer has consumed. */
#if defined(STRAY) || defined(LIMIT)
    assert(slot[readpointer].seq > lastSent);
#else
    assert(slot[readpointer].seq == lastSent + 1);
#endif
    assert(lastConsumed >= lastSent);
    lastSent = slot[readpointer].seq;
    sentAt = lastSent;
    late = false
  }
}

/* A peer that does not read holds the sender, and with it the ring, until the limit. */
inline sentPacket() {
  if
  :: atomic { !open -> noAnswerWillCome() }
  :: atomic { open && !deaf ->
#ifndef STRAY
       assert(owed == 0 && len(toOps) == 0);
#endif
       toOps!sentAt }
  :: atomic { open && deaf -> noAnswerWillCome() };
end_deaf:
     if
     :: !open
#ifdef LIMIT
     :: atomic { late && open -> open = false }  /* shutdown() */
#endif
     fi
  fi
}

inline answerSeen() {
  assert(lastConsumed >= lastSent)
}

inline copyToSlot(r, i) {
  assert(slot[writepointer].request == 0);
  queued++;
  slot[writepointer].request = r;
  slot[writepointer].no = i;
  slot[writepointer].seq = queued;
  writepointer = NEXT(writepointer);
  assert(writepointer != readpointer)
}

#include "sender.pml"

/* startWorker(), then runWorker(): which worker takes a request is workers.pml's concern. */
proctype Worker(byte r) {
  byte i = 1;
  bool wakes;
  bool routes;
  atomic {
    LOCK(mutex);
    if
    :: ADMITTED(count[r]) ->
       do
       :: i <= count[r] -> copyToSlot(r, i); i++
       :: else -> break
       od;
#ifndef MUTANT_QUEUED_WITHOUT_WAKING
       m_wakeSender = true
#endif
    :: else -> reply(r)
    fi;
    UNLOCK_RING_ONLY()
  };
  WAKE()
}

inline consumeSlot() {
  assert(slot[readpointer].request != 0);
  consumed[slot[readpointer].request]++;
  lastConsumed = slot[readpointer].seq;
  slot[readpointer].request = 0;
  slot[readpointer].no = 0;
  slot[readpointer].seq = 0;
  readpointer = NEXT(readpointer);
  answerOutstanding = false;
  late = false
}

/* routeAnswer(). The lock is held, so that this is one step. */
inline routeAnswer(seq) {
  d_step {
    if
    :: slot[readpointer].request == 0
    :: else ->
#ifndef STRAY
       assert(slot[readpointer].seq == seq);
#endif
       r = slot[readpointer].request;
       if
#ifdef MUTANT_REPLY_WITH_EACH_ANSWER
       :: true ->
#else
       :: slot[readpointer].no == count[r] ->
#endif
          assert(replies[r] == 0);
          assert(consumed[r] + 1 == count[r]);
          replies[r] = 1
       :: else
       fi;
       consumeSlot();
       routed = true;
       r = 0
    fi
  }
}

/* handleOpsMessage(). */
inline receive() {
#ifdef MAIN_GOES_ON
  mainHeld = true;
#endif
  atomic {
    LOCK(mutex);
    mainHeld = false;
    toMain?kind, seq;
    if
    :: kind == READY ->
       issReady = true;
#ifndef MUTANT_READY_WITHOUT_WAKING
       if :: readpointer != writepointer -> m_wakeSender = true :: else fi
#endif
    :: kind == REPORT
    :: kind == ANSWER -> routeAnswer(seq)
    fi;
    IssProcessing = false;
#ifdef MUTANT_RELEASED_BY_ANYTHING
    m_answerRouted = true;
#else
    if :: routed -> m_answerRouted = true :: else fi;
#endif
    routed = false; kind = 0; seq = 0;
    UNLOCK_RING_ONLY()
  };
  WAKE()
}

inline connectionLost() {
  atomic {
    LOCK(mutex);
    issReady = false;
    if :: answerOutstanding -> lost = sentAt :: else -> lost = 0 fi;
    UNLOCK(mutex)
  };
  atomic {
    connected = false; open = false; said = false; deaf = false; owed = 0; silent = false;
    do :: toOps?_ :: empty(toOps) -> break od;
    do :: toMain?_, _ :: empty(toMain) -> break od
  }
}

inline connect() {
  atomic {
    connected = true; open = true;
    mute = false;
#ifdef WILD
    if
    :: true
    :: deaf = true
#ifdef MUTE
    :: mute = true
#endif
    fi
#endif
  }
}

inline debugRequest() {
  atomic {
    LOCK(mutex);
    debugAsked = false;
    if
    :: ADMITTED(1) -> copyToSlot(DEBUG, 1); m_wakeSender = true
    :: else -> reply(DEBUG)
    fi;
    UNLOCK_RING_ONLY()
  };
  WAKE()
}

/* giveUpRequest(): the message at the read index and what is left of its request. */
inline giveUpRequest() {
  r = slot[readpointer].request;
  assert(r != 0 && slot[readpointer].seq == sentAt && replies[r] == 0);
  replies[r] = 1;
#ifdef MUTANT_GIVES_UP_ONE_MESSAGE
  consumeSlot();
#else
  do
  :: slot[readpointer].request == r -> consumeSlot()
  :: else -> break
  od;
#endif
  IssProcessing = false;
  m_answerRouted = true;
  r = 0
}

#ifdef LIMIT
/* OutstandingAnswer::look() with AnswerWatch::limitPassed(). */
inline watchAnswer() {
  if
  :: mutex != FREE -> busy = true
  :: atomic { mutex == FREE -> mutex = _pid;
       busy = false;
       if
       :: answerOutstanding && lost == sentAt && (issReady || late) -> giveUpRequest()
       :: answerOutstanding && lost != sentAt && late ->
          giveUpRequest();
#ifndef MUTANT_GIVES_UP_AND_STAYS_READY
          issReady = false;
#endif
          close = true
       :: else
       fi;
       UNLOCK_RING_ONLY()
     };
     WAKE()
  fi
}

#endif

/* ReceiveLoop::pass(). */
proctype Main() {
  mtype kind;
  byte seq;
  byte r;
  bool routed;
  bool close;
  bool wakes;
  bool routes;
pass:
end:
  if
  :: debugAsked -> debugRequest()
  :: !debugAsked && connected && nempty(toMain) -> receive()
  :: !debugAsked && connected && empty(toMain) && !open -> connectionLost()
  :: !debugAsked && !connected -> connect()
#ifdef LIMIT
  :: !debugAsked && connected && empty(toMain) && open && (late || busy)
#endif
  fi;
#ifdef LIMIT
  watchAnswer();
  if :: close -> close = false; connectionLost() :: else fi;
#endif
  goto pass
}

#ifdef LIMIT
/* Time passes, at any moment, while a message is with OPS or on its way there. */
proctype Clock() {
end:
  do
  :: atomic { lastSent > lastConsumed && !late -> late = true }
  od
}
#endif

proctype Ops() {
#if defined(WILD) && !defined(MAIN_GOES_ON)
  byte reports = 0;
#else
  byte reports = 1;
#endif
end:
  do
  :: atomic { open && !said && !mute && nfull(toMain) -> said = true; toMain!READY, 0 }
  :: atomic { open && said && !deaf && owed == 0 && nempty(toOps) -> toOps?owed;
#ifdef WILD
       if
       :: silent = false
       :: silent = true; noAnswerWillCome()
       fi
#endif
     }
  :: atomic { open && owed != 0 && !silent && nfull(toMain) -> toMain!ANSWER, owed; owed = 0 }
  :: atomic { open && said && reports > 0 && nfull(toMain) -> toMain!REPORT, 0; reports-- }
#ifdef STRAY
  :: atomic { open && said && stray && nfull(toMain) -> toMain!ANSWER, 0; stray = false }
#endif
#ifdef WILD
  :: atomic { open && closings > 0 ->
       closings--; open = false;
       if :: owed != 0 || len(toOps) > 0 -> noAnswerWillCome() :: else fi;
       owed = 0
     }
#endif
  od
}

#ifdef SPURIOUS
/* A wait may end without a signal, once. */
proctype Spurious() {
end:
  if
  :: atomic { cond == WAITS -> cond = WOKEN }
  :: atomic { cond2 == WAITS -> cond2 = WOKEN }
  :: true
  fi
}
#endif

init {
  atomic {
#ifdef NARROW
    readpointer = 3;
#ifdef SINGLE
    count[1] = 1;
#else
    count[1] = 2;
#endif
    count[2] = 1;
#else
    if :: readpointer = 0 :: readpointer = 2 :: readpointer = 3 fi;
    if :: count[1] = 1 :: count[1] = 2 fi;
    count[2] = 2;
#endif
    writepointer = readpointer;
    count[DEBUG] = 1;
#ifdef WILD
    if :: closings = 0 :: closings = 1 fi;
    debugAsked = false; replies[DEBUG] = true;  /* nobody asks there */
#endif
    run Worker(1); run Worker(2); run Sender(); run Main(); run Ops();
#ifdef SPURIOUS
    run Spurious();
#endif
#ifdef LIMIT
    run Clock()
#endif
  }
}

#define ALL (replies[1] && replies[2] && replies[DEBUG])
#ifdef ANSWERED
ltl answered { <> ALL }
#endif
#ifdef ANSWERED_OR_MUTE
ltl answered { <> ALL || <> [] mute }
#endif
#ifdef NONE_STAYS
ltl none_stays { [] <> (!answerOutstanding && mutex == FREE) }
#endif
#ifdef MAIN_GOES_ON
ltl main_goes_on { [] <> !mainHeld }
#endif
#ifdef ANSWERED_OR_STALLED
ltl answered { <> (ALL || stalled) }
#endif
