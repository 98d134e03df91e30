// What the doctor finds, a line for each thing that the daemon stands on. Blocking; any thread.
#pragma once

#include <sys/types.h>

#include <string>
#include <vector>

#include "base/Node.h"

namespace ctl {

struct Check {
  std::string subject;
  Mark state;  ///< note: neither good nor bad, or not to be seen by this user
  std::string found;
  std::string toDo = {};
};
using Checks = std::vector<Check>;

/// Of the machine: port 8000, markers, scripts, sockets, devices, disks, settings.
Checks checkSystem();

/// The TCP port of OPS, and who holds it.
Check checkOpsPort();

/// The name of a process; empty when it cannot be seen.
std::string processName(pid_t pid);

/// A variable of a process's environment: false when that cannot be read.
bool readEnvironment(pid_t pid, const std::string& name, std::string& value);

}  // namespace ctl
