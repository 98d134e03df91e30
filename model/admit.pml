/* The ring's rule for a batch of n messages, admit() in src/link/MsgArray.h, for a ring of SLOTS slots. */
#define AHEAD (SLOTS - 2)
#define NEXT(i) ((i + 1) % SLOTS)

#ifdef MUTANT_ADMISSION_AHEAD
#define FITS_AHEAD(n) (writepointer + n <= readpointer + AHEAD + 2)
#else
#define FITS_AHEAD(n) (writepointer + n <= readpointer + AHEAD)
#endif
#ifdef MUTANT_ADMISSION_BEHIND
#define FITS_BEHIND(n) (writepointer + n <= readpointer)
#else
#define FITS_BEHIND(n) (writepointer + n < readpointer)
#endif
#define ADMITTED(n) \
  ((writepointer == readpointer) || (writepointer < readpointer && FITS_BEHIND(n)) || \
   (writepointer > readpointer && FITS_AHEAD(n)))
