// Calls that write a file, which can be made to fail. Linked with --wrap for each.
#pragma once

#include "support/failing.h"

namespace failing {

// They return -1, and the error as errno; -1 in place of an error lets `writeFile` write nothing and return
// 0.
extern Call changeMode;
extern Call renameFile;
extern Call writeFile;

}  // namespace failing
