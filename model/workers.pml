/* The kept workers, src/services/pattern/Workers.cpp: who carries a request out, and how the workers end.
 *
 *   STOPS  the process may stop at any moment
 */
#include "lock.pml"

#define MOST 2      /* mostWorkers */
#define PLACES 2    /* places */
#define REQUESTS 3

byte workersMutex = FREE;
byte count;         /* requests that wait */
byte workers;
byte idle;
bool dismissed;
bool stopRequested;

/* Who waits where. A worker's waits have many waiters: one of them is woken, any. */
byte workWaits[MOST];
byte placeFree;
byte allIdle;
byte workerLeft;
byte made;          /* workers made so far: the next one's number */

bool taken[REQUESTS + 1];
bool ended;
bool dropped;
byte put;           /* requests that found a place */
byte next = 1;      /* the oldest of them */
byte running;       /* requests that are carried out now */

#define SIGNAL_ONE(c) \
  if \
  :: c[0] == WAITS -> c[0] = WOKEN \
  :: c[1] == WAITS -> c[1] = WOKEN \
  :: c[0] != WAITS && c[1] != WAITS \
  fi
#define SIGNAL_ALL(c) \
  if :: c[0] == WAITS -> c[0] = WOKEN :: else fi; \
  if :: c[1] == WAITS -> c[1] = WOKEN :: else fi

/* awaitWork(), nextWork(), carryOut(). The second request ends only when the third is carried out: a worker that is busy
 * keeps no other request waiting. */
proctype Worker(byte me) {
  byte mine;
  do
  :: atomic {
       LOCK(workersMutex);
       if
       :: count > 0
       :: count == 0 ->
          idle++;
          if :: idle == workers -> SIGNAL(allIdle) :: else fi;
          do
          :: count == 0 && !dismissed ->
             LET_GO(workWaits[me], workersMutex);
end_idle:
             TAKE_BACK(workWaits[me], workersMutex)
          :: else -> break
          od;
          idle--
       fi;
       if
       :: count > 0 ->
          mine = next; next++; count--;
          assert(!taken[mine]);
          taken[mine] = true;
          running++;
          UNLOCK(workersMutex)
       :: else ->
          workers--;
          SIGNAL(workerLeft);
          UNLOCK(workersMutex);
          goto left
       fi
     };
     SIGNAL(placeFree);
     if
     :: mine == 2 -> (taken[3] || stopRequested)
     :: else
     fi;
     d_step { running--; mine = 0 }
  od;
left:
  skip
}

/* putInLine(), makeWorker(), handToWorker(). */
inline handToWorker() {
  atomic {
    LOCK(workersMutex);
    do
    :: count == PLACES && !stopRequested ->
       LET_GO(placeFree, workersMutex);
       /* A hundred milliseconds at most: the wait ends for the stop too. */
end_full:
       if
       :: TAKE_BACK(placeFree, workersMutex)
       :: atomic { stopRequested && workersMutex == FREE -> placeFree = NOBODY; workersMutex = _pid }
       fi
    :: count == PLACES && stopRequested ->
       dropped = true;
       UNLOCK(workersMutex);
       goto stopped
    :: count < PLACES -> break
    od;
    if
#ifdef MUTANT_IDLE_MEANS_FREE
    :: idle == 0 && workers < MOST ->
#else
    :: idle <= count && workers < MOST ->
#endif
       workers++;
       run Worker(made);
       made++
    :: else
    fi;
    count++; put++;
    UNLOCK(workersMutex)
  };
#ifndef MUTANT_NO_WORKER_WOKEN
  atomic { SIGNAL_ONE(workWaits) }
#endif
}

/* The bus thread: start_otn_comm() around Connection::dispatch(). */
active proctype Bus() {
  bool workersEnded;
  do
  :: put < REQUESTS && !stopRequested -> handToWorker()
  :: stopRequested -> break
#ifndef STOPS
  :: put == REQUESTS && !stopRequested && taken[1] && taken[2] && taken[3] -> break
#endif
  od;
stopped:
  /* waitForWorkers(): a second at most. */
  atomic {
    LOCK(workersMutex);
    do
    :: count > 0 || idle < workers ->
       LET_GO(allIdle, workersMutex);
end_busy:
       TAKE_BACK(allIdle, workersMutex)
    :: else -> break
    od;
    workersEnded = true;
    UNLOCK(workersMutex)
  };
  /* dismissWorkers(). */
  atomic {
    LOCK(workersMutex);
    assert(running == 0 && count == 0);
    dismissed = true;
#ifndef MUTANT_DISMISSED_UNTOLD
    SIGNAL_ALL(workWaits);
#endif
    do
    :: idle > 0 ->
       LET_GO(workerLeft, workersMutex);
end_dismissing:
       TAKE_BACK(workerLeft, workersMutex)
    :: else -> break
    od;
    assert(workers == 0);
    dismissed = false;
    UNLOCK(workersMutex)
  };
  ended = true
}

#ifdef STOPS
active proctype Stop() {
  stopRequested = true
}
#endif

#ifdef ENDS
ltl ends { <> (ended && (put < 1 || taken[1]) && (put < 2 || taken[2]) && (put < 3 || taken[3])) }
#endif
