// The sender thread: sends the oldest slot of the ring to OPS, then waits until the main thread has handled
// the answer, so that one message is outstanding at most.
#pragma once

/// Thread function; no argument. Runs until `running` is cleared and one of the ring's conditions signalled.
void* iss_comm(void*);
