// What an OPS message is and what it says. Keeps no state; any thread.
#pragma once

#include <cstdint>
#include <string_view>

#include "OtnIpcMsg.h"

/// The script that ISS runs to make its first configuration.
inline constexpr std::string_view defaultScript = "/etc/iss/bh_default.txt";

/// Copies a whole record. Returns 0.
int CopyPacket(OtnIpcMsg& destination, const uint8_t* source);

bool IsOpsReadyPacket(const OtnIpcMsg& msg);
bool IsMsrReloadStatusPacket(const OtnIpcMsg& msg);
bool IsAlivePacket(const OtnIpcMsg& msg);
bool IsCpuThresholdPacket(const OtnIpcMsg& msg);
bool IsPortStatusChangePacket(const OtnIpcMsg& msg);
/// True when the message answers the request at the ring's read index.
bool IsReplyPacket(const OtnIpcMsg& msg);
/// True when the message is not OPS's text for success, an empty one included.
bool IsOpsError(const OtnIpcMsg& msg);
/// The default script's answer.
bool IsDefaultScriptPacket(const OtnIpcMsg& msg);
/// An answer that created a management tunnel.
bool IsCreateMgmtTunnelPacket(const OtnIpcMsg& msg);
bool IsEtsFpIdPacket(const OtnIpcMsg& msg);
bool IsMstFpIdPacket(const OtnIpcMsg& msg);
/// Whether ISS failed to restore its saved configuration.
bool MSRReloadFailed(const OtnIpcMsg& msg);
/// Name of the thread of a CPU_THRESHOLD message; "unknown" for other types.
std::string_view GetThreadName(const OtnIpcMsg& msg);

/// Logs the message field by field, within the trace level. Returns 0.
int printPacket(const OtnIpcMsg& msg);

/// The request that has ISS run the script in the input file and write to the output file; both names are cut
/// to their fields.
OtnIpcMsg scriptMessage(const char* inputFile, const char* outputFile);
/// Makes `msg` the request that runs the default script. Returns true.
bool CreateDefaultScriptPacket(OtnIpcMsg& msg);
