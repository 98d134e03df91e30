/* The rule of admission with the daemon's own numbers: batches come, of any size that finds room in an empty ring, and
 * messages are consumed. */
#define SLOTS 20
#include "admit.pml"

byte readpointer;
byte writepointer;
byte inRing;

/* slotsInUse() */
#define IN_USE ((writepointer < readpointer -> writepointer + SLOTS : writepointer) - readpointer)

active proctype Ring() {
  byte n;
end:
  do
  :: atomic {
       select(n : 1 .. SLOTS - 1);
       if
       :: ADMITTED(n) ->
          inRing = inRing + n;
          writepointer = (writepointer + n) % SLOTS;
          assert(writepointer != readpointer && inRing == IN_USE)
       :: else
       fi;
       n = 0
     }
  :: atomic { inRing > 0 -> inRing--; readpointer = NEXT(readpointer); assert(inRing == IN_USE) }
  od
}
