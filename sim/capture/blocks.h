// The kinds of block in a pcapng file that are written and read here.
#pragma once

#include <cstdint>

namespace sim {

inline constexpr uint32_t sectionHeaderBlock = 0x0A0D0D0A;
inline constexpr uint32_t interfaceBlock = 1;
inline constexpr uint32_t packetBlock = 6;

}  // namespace sim
