/* A mutex and a condition with at most one waiter. A signal that finds nobody waiting is lost. */
#define FREE 255
#define LOCK(m) atomic { m == FREE -> m = _pid }
#define UNLOCK(m) atomic { assert(m == _pid); m = FREE }

#define NOBODY 0
#define WAITS 1
#define WOKEN 2
/* pthread_cond_wait, in its two steps. */
#define LET_GO(c, m) atomic { assert(m == _pid && c == NOBODY); m = FREE; c = WAITS }
#define TAKE_BACK(c, m) atomic { c == WOKEN && m == FREE -> c = NOBODY; m = _pid }
#define SIGNAL(c) d_step { if :: c == WAITS -> c = WOKEN :: else fi }
