// Calls of the bus library that can be made to fail, and watched. Linked with --wrap for each.
#pragma once

#include "support/failing.h"

namespace failing {

// They return the error as it is given, `readFile` as errno.
extern Call appendBasic;
extern Call callAsync;
extern Call createThread;
extern Call getEvents;
extern Call newMethodCall;
extern Call newMethodReturn;
extern Call newSignal;
extern Call process;
extern Call readFile;
extern Call send;
extern Call start;

}  // namespace failing
