// The daemon's debug socket, seen from the tool: one record there, ISS's raw answer back. The tool's own
// address is fixed, so one tool at a time. One thread.
#pragma once

#include <chrono>

#include "OtnIpcMsg.h"
#include "base/Outcome.h"

namespace ctl {

inline constexpr char debugServerPath[] = "/tmp/socket-server";
inline constexpr char debugClientPath[] = "/tmp/socket-client";

/// Sends the record and waits for the answer to it. An outcome other than done says why there is none.
Outcome exchange(const OtnIpcMsg& request, std::chrono::milliseconds timeout, OtnIpcMsg& answer);

/// Whether somebody receives at the path of a datagram socket: 0, or why not (errno).
int probeSocket(const char* path);

}  // namespace ctl
