// Files that a client names: below /tmp only, and not through a link, so that a name cannot lead to a file
// elsewhere. Stateless; any thread.
#pragma once

#include <string>

namespace sim {

/// Opens a regular file of the simulator's own user or of root for reading; -1 with errno set. The descriptor
/// is the caller's.
int openTmpFile(const std::string& path);

/// Opens a regular file of the simulator's own user for writing, empty, and makes it where it is not there;
/// -1 with errno set.
int createTmpFile(const std::string& path);

}  // namespace sim
