// What one match of a filter rule says, in words. Pure; any thread.
#pragma once

#include <cstdint>
#include <string>

#include "OtnIpcMsg.h"

namespace sim {

/// "mac=...", "etherType=0x88e3", "vlan=5", "vpn=7" or "mplsLabel=100,pwLabel=200", with "/MASK" behind what
/// the mask does not take whole; empty for a type that stands for bytes only. Labels are those of an MSTP or
/// MRP rule.
std::string decodeFilterEntry(const ops::FilterEntry& entry, uint32_t entryKind);

}  // namespace sim
