/* The sender thread, iss_comm() and sendNextSlot() in src/link/issComm.cpp. Who includes this says before what a send
 * is: sendBegins(), sentPacket() and answerSeen(). */
#ifdef MUTANT_RUNNING_NOT_TESTED
#define STOPPED false
#else
#define STOPPED (!running)
#endif
#ifdef MUTANT_RELEASED_BY_ANYTHING
#define STILL_WITH_OPS IssProcessing
#else
#define STILL_WITH_OPS (IssProcessing || answerOutstanding)
#endif

proctype Sender() {
  do
  :: !running -> break
  :: else ->
#ifdef MUTANT_LOOKED_WITHOUT_LOCK
     if
     :: readpointer == writepointer || !issReady ->
        LOCK(mutex);
        LET_GO(cond, mutex);
end_unlocked:
        TAKE_BACK(cond, mutex);
        UNLOCK(mutex)
     :: else
     fi;
#endif
     atomic {
     LOCK(mutex);
     do
     :: readpointer == writepointer || !issReady ->
        LET_GO(cond, mutex);
end_idle:
        TAKE_BACK(cond, mutex);
        if :: STOPPED -> UNLOCK(mutex); goto ended :: else fi
     :: else -> break
     od;
     sendBegins();
     sentPacket();
     d_step { IssProcessing = true; answerOutstanding = true };
     do
     :: LET_GO(cond2, mutex);
end_waiting:
        TAKE_BACK(cond2, mutex);
        if :: STOPPED -> UNLOCK(mutex); goto ended :: else fi;
#ifdef MUTANT_WAITED_ONCE
        break
#else
        if :: STILL_WITH_OPS :: else -> break fi
#endif
     od;
     answerSeen();
     UNLOCK(mutex)
     }
  od;
ended:
  senderEnded = true
}
