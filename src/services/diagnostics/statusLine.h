// The daemon's status in one line, as a supervisor shows it. Pure; any thread.
#pragma once

#include <string>

#include "services/diagnostics/DaemonStatus.h"

std::string statusLine(const DaemonStatus& status);
