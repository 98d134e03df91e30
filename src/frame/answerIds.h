// The ids that ISS assigns and its answers bring: taken out and kept, or handed to the service that owns
// them.
//
// Main thread, with the ring's mutex held.
#pragma once

#include <cstdint>
#include <utility>

#include "OtnIpcMsg.h"

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
