/* The bus thread and its deputy, platform/otnbus: who waits on the bus and takes in, while a handler blocks and while
 * none does. A peer sends a few calls; the main thread gives a reply with the ring's lock held; time passes at any moment.
 *
 *   STOPS  the kill message may come at any moment
 *   FULL   the socket has no room at first for what is sent
 */
#include "lock.pml"

/* Time in steps of Deputy.cpp's `patience`. */
#define PATIENCE 1
#define LEAD 2

/* QUICK comes back, BLOCKS comes back when the status is told, and the status is IMMEDIATE. */
mtype = { QUICK, BLOCKS, IMMEDIATE };
#ifndef CALLS
#define CALLS 3
#endif
chan socket = [CALLS] of { mtype };
chan queue = [CALLS] of { mtype, byte };
chan immediate = [CALLS] of { mtype };
byte sent;          /* by the peer */
byte arrived;       /* taken in for the queue */
byte served;        /* of these: the last that was served */
byte told;          /* immediate calls that were served */
byte finished;          /* calls of both kinds that were served */

byte mutex = FREE;    /* of the ring */
byte busMutex = FREE;
byte inSdBus;       /* threads inside sd-bus */

bool killed;
bool woken;         /* the eventfd */
bool waitsOnBus;    /* the bus thread does, or is about to */
bool replied;
bool unsent;        /* sd-bus keeps what the socket had no room for */
bool awaitsRoom;    /* m_awaitsRoom */
#ifdef FULL
bool room;
#else
bool room = true;
#endif

/* The deputy. */
bool since;         /* a handler runs */
byte age;           /* for how long */
byte due;           /* the timer runs out in so long; 0: it has run out */
bool tick;          /* the timer is readable */
bool standing;
bool stopping;
bool deputyEnded;
bool ended;
#define NEEDED (since && !stopping && age >= PATIENCE)

inline fireAtOnce() {
  d_step { due = 0; tick = true }
}

inline enterSdBus() {
  inSdBus++;
  assert(inSdBus == 1)
}

/* Connection::takeIn(): sends what is left, or takes in one message. */
inline takeIn() {
  enterSdBus();
  if
  :: unsent && room -> unsent = false
  :: (!unsent || !room) && nempty(socket) ->
     socket?call;
     if
     :: call == IMMEDIATE -> immediate!call
     :: else -> arrived++; queue!call, arrived
     fi;
     call = 0
  :: (!unsent || !room) && empty(socket)
  fi;
  inSdBus--
}

/* Bus::prepare(). */
inline prepare() {
  awaitsRoom = unsent;
  out = unsent
}

inline takeInOrPrepare() {
  takeIn();
  if
  :: nempty(immediate) -> immediate?_; ahead = true
  :: empty(immediate) -> prepare()
  fi;
  /* The bus thread looks at the queue before it waits again. */
  assert(empty(queue) || !waitsOnBus)
}

#define READABLE (len(socket) > 0 || woken || (out && room))

/* Connection::carryOut() of the status. */
inline tell() {
  d_step { told++; finished++ }
}

inline handlerStarts() {
  d_step { since = true; age = 0 };
#ifndef MUTANT_TIMER_NOT_SET
  d_step { if :: due < PATIENCE -> due = LEAD; tick = false :: else fi }
#endif
}

inline handlerEnds() {
#ifdef MUTANT_RECALLED_BEFORE_THE_END
  if :: standing -> fireAtOnce() :: else fi;
  since = false
#else
  since = false;
  if :: standing -> fireAtOnce() :: else fi
#endif
}

proctype BusThread() {
  mtype call;
  mtype entry;
  byte number;
  bool ahead;
  bool waiting;
  bool out;
  bool look = true;
  do
  :: killed -> break
  :: else ->
     atomic {
       LOCK(busMutex);
       if :: look -> takeIn() :: else fi;
       if :: nempty(immediate) -> immediate?_; ahead = true :: empty(immediate) fi;
       if :: nempty(queue) -> queue?entry, number :: empty(queue) fi;
       waiting = (!ahead && entry == 0);
       look = (ahead || waiting || nempty(queue));
       if :: waiting -> prepare(); waitsOnBus = true :: else fi;
#ifndef MUTANT_HANDLER_UNDER_THE_LOCK
       UNLOCK(busMutex)
#endif
     };
#ifdef MUTANT_HANDLER_UNDER_THE_LOCK
     if :: entry == 0 -> UNLOCK(busMutex) :: else fi;
#endif
     if
     :: waiting ->
end_bus:
        atomic { READABLE -> woken = false; waitsOnBus = false; waiting = false; out = false }
     :: else
     fi;
     if :: ahead -> tell(); ahead = false :: else fi;
     if
     :: entry != 0 ->
        handlerStarts();
        assert(number == served + 1);
        served = number;
        /* Every handler hands its call to a worker at least, which takes the ring's lock. */
#ifdef MUTANT_HANDLER_UNDER_THE_LOCK
        LOCK(mutex);
        UNLOCK(mutex);
        UNLOCK(busMutex);
#endif
        if
        :: entry == BLOCKS -> (told > 0 || killed)
        :: else
        fi;
        d_step { finished++; entry = 0; number = 0 };
        handlerEnds()
     :: else
     fi
  od;
  /* Connection::run() after the dispatch: Deputy::stop(). */
  stopping = true;
#ifndef MUTANT_DEPUTY_NOT_CALLED_BACK
  fireAtOnce();
#endif
  deputyEnded;
  ended = true
}

proctype Deputy() {
  mtype call;
  bool ahead;
  bool out;
  do
  :: stopping -> break
  :: else ->
end_off:
     tick;
     tick = false;
     standing = true;
     if :: NEEDED -> goto standIn :: else fi;
back:
     standing = false
  od;
  deputyEnded = true;
  goto over;

standIn:
  /* Connection::standIn() */
  do
#ifdef MUTANT_BOTH_IN_SD_BUS
  :: if :: NEEDED :: else -> break fi;
     takeInOrPrepare();
#else
#ifdef MUTANT_NEED_TESTED_WITHOUT_LOCK
  :: if :: NEEDED :: else -> break fi;
     atomic {
       LOCK(busMutex);
#else
  :: atomic {
       LOCK(busMutex);
       /* What is taken in now is found by the bus thread: its handler still runs. */
       if :: NEEDED :: else -> UNLOCK(busMutex); break fi;
#endif
       takeInOrPrepare();
       UNLOCK(busMutex)
     };
#endif
     if
     :: ahead -> tell(); ahead = false
     :: else ->
end_in:
        atomic {
          READABLE || tick ->
          if :: READABLE -> woken = false :: else fi;
          if :: tick -> tick = false :: else fi;
          out = false
        }
     fi
  od;
  /* A wake-up taken here may have been meant for the bus thread. */
#ifndef MUTANT_WAKE_UP_KEPT
  woken = true;
#endif
  goto back;
over:
  skip
}

/* A reply of the main thread, Bus::reply(): the bus's lock comes after the ring's. */
proctype Reply() {
  LOCK(mutex);
  LOCK(busMutex);
  atomic {
    enterSdBus();
    if :: !room -> unsent = true :: else fi;
    inSdBus--;
    if :: unsent && !awaitsRoom -> awaitsRoom = true;
#ifndef MUTANT_ROOM_NOT_AWAITED
       woken = true
#endif
    :: else
    fi;
    replied = true
  };
  UNLOCK(busMutex);
  UNLOCK(mutex)
}

/* Whoever calls; the last call is the status. */
proctype Peer() {
  do
  :: sent < CALLS - 1 ->
     atomic {
       sent++;
       if :: socket!QUICK :: socket!BLOCKS :: socket!IMMEDIATE fi
     }
  :: sent == CALLS - 1 -> atomic { sent++; socket!IMMEDIATE }; break
  od
}

#ifdef FULL
proctype Room() {
  room = true
}
#endif

proctype Time() {
end:
  do
  :: atomic { due > 0 || (since && age < PATIENCE) ->
       if :: due > 0 -> due--; if :: due == 0 -> tick = true :: else fi :: else fi;
       if :: since -> age = PATIENCE :: else fi
     }
  od
}

#ifdef STOPS
/* Bus::kill(). */
proctype Kill() {
  killed = true;
  woken = true
}
#endif

init {
  atomic {
    run BusThread(); run Deputy(); run Reply(); run Peer(); run Time();
#ifdef FULL
    run Room();
#endif
#ifdef STOPS
    run Kill()
#endif
  }
}

#ifdef SERVED
ltl served { <> (finished == CALLS && replied && !unsent) }
#endif
#ifdef RECALLED
ltl recalled { [] <> (!standing || since) }
#endif
#ifdef ENDS
ltl ends { <> ended }
#endif
