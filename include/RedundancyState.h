// Names of the node's redundancy states, as they travel on the bus and to ISS.
#pragma once

#include <cstdint>

inline constexpr const char* RedundancyStateStrings[] = {"INV",  "BTG",  "ACT",  "ACT0", "ACT1",
                                                         "ACT2", "ACT3", "PAS0", "PAS1", "PAS2",
                                                         "STB3", "FAIL", "NIS",  "DEF",  "SWO"};
inline constexpr int32_t RedundancyStateLast = 14;
/// No state is known; any value above the last one is never applied at registration.
inline constexpr int32_t RedundancyStateUnknown = 15;

/// "RED?" for anything outside the table, negative values included.
constexpr const char* redundancyStateName(int32_t state) {
  return static_cast<uint32_t>(state) <= RedundancyStateLast ? RedundancyStateStrings[state] : "RED?";
}
