/* Signals and shutdown: the main thread from its start to its end, the bus thread, a worker and the sender around it.
 * Two stop signals come, at any two moments; OPS does what is chosen at the start.
 *
 *   ONLY  what OPS does, where it is one thing
 */
#include "link.pml"

#define NEXT(i) ((i + 1) % 4)
#define IN_A_ROW 2  /* inputsPerStopCheck */

/* What OPS does. */
mtype = { ANSWERS, SILENT, DEAF, ENDLESS };
mtype ops;
bool atOps;         /* it has a message */
bool input;         /* the main thread has something to read */

/* The process's signals: blocked everywhere, and open in the main thread's wait only. */
bool pending[2];
bool stopping;      /* otn::setStopping() */
#define PENDING (pending[0] || pending[1])
#ifdef MUTANT_STOP_ASKED_TOO_LATE
#define STOP_REQUESTED (!running)
#else
#define STOP_REQUESTED (!running || stopping || PENDING)
#endif
bool inSyslog;      /* the main thread is inside a log statement */

/* The bus component. */
bool static_obc;
bool alive;         /* its memory */
bool killed;
bool woken;         /* the eventfd */
byte killers;
bool otnThreadRunning;
bool busEnded;

/* The services and their worker. */
bool servicesAlive;
byte waiting;
bool carriesOut;
bool dismissed;
bool destroyed;     /* the ring's lock and conditions */

bool finished;

inline sendBegins() { skip }
inline answerSeen() { skip }
inline sentPacket() {
  if
  :: ops != DEAF -> atOps = true
  :: ops == DEAF ->
#ifdef MUTANT_SEND_NOT_BROKEN_OFF
end_deaf:
     false
#else
     STOP_REQUESTED
#endif
  fi
}
#include "sender.pml"

/* Work and its carrying out: waitForWorkers() sees both. */
proctype Worker() {
  bool wakes;
  bool routes;
  do
  :: atomic { waiting > 0 -> waiting--; carriesOut = true };
     atomic {
       LOCK(mutex);
       assert(servicesAlive && !destroyed);
       writepointer = NEXT(writepointer);
       m_wakeSender = true;
       UNLOCK_RING_ONLY()
     };
     WAKE();
     atomic { assert(servicesAlive && !destroyed); carriesOut = false }
  :: atomic { waiting == 0 && dismissed -> break }
  od
}
#define WORKERS_ENDED (waiting == 0 && !carriesOut)

/* start_otn_comm(), Connection::run() and dispatch(). Where there is no bus, it ends with the kill only. */
proctype Bus(bool there) {
  byte calls = 2;  /* a request, and the life cycle's trigger */
  d_step { alive = true; static_obc = true };
  if
  :: there
  :: !there -> killed
  fi;
  d_step { servicesAlive = true; otnThreadRunning = true };
  do
  :: killed -> break
  :: atomic { !killed ->
       if
       :: calls == 2 -> calls--; waiting++
       :: calls == 1 -> calls--;
          /* The life cycle waits for ISS, and asks whether to stop. */
          STOP_REQUESTED
       :: woken -> woken = false
       fi
     }
  od;
#ifndef MUTANT_KILLER_NOT_AWAITED
  killers == 0;
#endif
  if
  :: WORKERS_ENDED ->
     d_step { dismissed = true; servicesAlive = false };
     static_obc = false;
     alive = false
  :: !WORKERS_ENDED  /* after a second; what they use stays */
  fi;
  busEnded = true
}

/* handle_sig() of one signal, where one is pending. No handler is interrupted by another: its end closes the door. */
inline letOneIn() {
  atomic {
    if
    :: pending[0] -> pending[0] = false
    :: pending[1] -> pending[1] = false
    fi;
    stopping = true;
    component = static_obc;
#ifndef MUTANT_SECOND_STOP_TOUCHES
    if :: !running -> component = false :: else fi;
#endif
    assert(!component || alive);
    /* A log statement inside a log statement waits for itself. */
    assert(!inSyslog)
  };
#ifdef MUTANT_HANDLERS_NEST
  assert(!PENDING);
#endif
  if
  :: atomic { component -> assert(alive); killers++ };
     killed = true;
#ifndef MUTANT_KILLED_WITHOUT_WAKING
     atomic { assert(alive); woken = true };
#endif
     atomic { assert(alive); killers--; component = false }
  :: else
  fi;
  running = false
}

/* The next handlers, one at a time. */
inline letIn(most) {
  do
  :: most > 0 && PENDING -> most--; letOneIn()
  :: atomic { else -> most = 0; break }
  od
}

inline wakeSenderToStop() {
#ifndef MUTANT_SENDER_NOT_WOKEN
  atomic { SIGNAL(cond); SIGNAL(cond2) }
#else
  skip
#endif
}

/* joinWaking() */
inline join(ended) {
#ifdef MUTANT_SENDER_WOKEN_ONCE
  ended
#else
  do
  :: ended -> break
  :: else -> wakeSenderToStop()
  od
#endif
}

proctype Main() {
  byte inputsInARow;
  byte signals;
  bool got;
  bool component;
  bool wakes;
  bool routes;
  /* waitForOtnThread(): five seconds, and leave(failed) without a bus. */
  if
  :: otnThreadRunning
  :: !otnThreadRunning -> goto leave
  fi;
  run Sender();
loop:
  atomic {
    if :: !running -> goto stopped :: else fi;
    /* waitForInput(): one that finds input at once delivers no signal. */
end_wait:
    if
    :: input -> got = true; inputsInARow++
    :: !input && PENDING -> inputsInARow = 0; signals = 1
    fi;
    if
    :: inputsInARow == IN_A_ROW ->
       inputsInARow = 0;
#ifndef MUTANT_STOP_NOT_LOOKED_FOR
       if :: STOP_REQUESTED -> signals = 2 :: else fi
#endif
    :: else
    fi
  };
  letIn(signals);
  if
  :: atomic { !running -> goto stopped }
  :: atomic { running && !got -> goto loop }
  :: running && got
  fi;
  got = false;
#ifdef MUTANT_SIGNALS_OPEN
  inSyslog = true;
  signals = 1;
  letIn(signals);
  inSyslog = false;
#endif
  /* ReceiveLoop::receive() */
  atomic {
    LOCK(mutex);
    if :: ops != ENDLESS -> input = false :: else fi;
    if
    :: answerOutstanding && ops == ANSWERS ->
       readpointer = NEXT(readpointer);
       answerOutstanding = false;
       m_answerRouted = true
    :: else ->
       issReady = true;
       if :: readpointer != writepointer -> m_wakeSender = true :: else fi
    fi;
    IssProcessing = false;
    UNLOCK_RING_ONLY()
  };
  WAKE();
  goto loop;
stopped:
  atomic { got = false; signals = 2 };
  letIn(signals);
  /* joinThreads() */
  wakeSenderToStop();
  join(busEnded);
  join(senderEnded);
  if :: WORKERS_ENDED -> destroyed = true :: else fi;
leave:
  finished = true
}

proctype Ops() {
  bool reported;
end:
  do
  /* The main thread then waits for the ring, which the sender holds. */
  :: atomic { ops == DEAF && !input && !reported -> reported = true; input = true }
  :: atomic { ops == ANSWERS && atOps && !input -> atOps = false; input = true }
  od
}

/* A signal, and another one: of another kind, because two of one kind that are pending at once are one. */
proctype Kill() {
  pending[0] = true;
  pending[1] = true
}

init {
  atomic {
#ifdef ONLY
    ops = ONLY;
#else
    if :: ops = ANSWERS :: ops = SILENT :: ops = DEAF :: ops = ENDLESS fi;
#endif
    input = true;  /* ISS is ready */
    if :: run Bus(true) :: run Bus(false) fi;
    run Worker(); run Main(); run Ops(); run Kill()
  }
}

#ifdef ENDS
ltl ends { <> finished }
#endif
