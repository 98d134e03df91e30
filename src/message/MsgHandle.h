// What an OPS message is, what it says, and the ids that its answer brings.
//
// Classification and dump keep no state and may run on any thread. The stores run on the main thread with
// the ring's mutex held.
#pragma once

#include <cstdint>
#include <string_view>
#include <utility>

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

/// Forwarding-entry ids of the ETS rules, from the last answers.
struct EtsFpIds {
  uint32_t l2;
  uint32_t mpls0;
  uint32_t mpls1;
};
static_assert(sizeof(EtsFpIds) == 12);
extern EtsFpIds g_EtsFpId;

/// Each takes the ids out of an answer and keeps them. Return true.
bool StoreDcnTunnelIds(const OtnIpcMsg& msg);
bool StoreEtsFpIds(const OtnIpcMsg& msg);
bool StoreMstFpIds(const OtnIpcMsg& msg);
/// The two forwarding-entry ids of an answer.
void GetFpIds(const OtnIpcMsg& msg, std::pair<int32_t, int32_t>& ids);
/// Of a rule's answer: keeps the Smart SFP rule id and returns the port bitmap; of any other: the word that
/// a Smart SFP PDU answer carries its ports in.
uint32_t ParseFpIdandPorts(const OtnIpcMsg& msg);
/// Makes `msg` the request that runs the default script. Returns true.
bool CreateDefaultScriptPacket(OtnIpcMsg& msg);
