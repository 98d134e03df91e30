/* What the threads share: the ring's lock and what it guards, as in src/link/MsgArray.h. */
#include "lock.pml"

byte mutex = FREE;
byte cond = NOBODY;
byte cond2 = NOBODY;
byte readpointer;
byte writepointer;
bool IssProcessing;
bool issReady;
bool answerOutstanding;
bool running = true;
bool senderEnded;

/* RingMutex: whom to wake is noted with the lock held, and the wake-up given once it is let go. */
bool m_wakeSender;
bool m_answerRouted;
#define UNLOCK_RING_ONLY() \
  assert(mutex == _pid); \
  wakes = m_wakeSender; m_wakeSender = false; \
  routes = m_answerRouted; m_answerRouted = false; \
  mutex = FREE
#define WAKE() \
  atomic { \
    if :: wakes -> SIGNAL(cond); wakes = false :: else fi; \
    if :: routes -> SIGNAL(cond2); routes = false :: else fi \
  }
