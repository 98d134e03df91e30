// Tells who supervises the process, on a Linux host systemd, what it does.
#pragma once

namespace otn {

/// Whether there is a supervisor that takes it.
bool hasSupervisor();

/// One line in place of the one before. Never waits: a supervisor that has no room gets the next one. Nothing
/// happens without a supervisor. Any thread.
void notifySupervisor(const char* status);

}  // namespace otn
