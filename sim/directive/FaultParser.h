// The lines `fault TYPE ...` and `answer TYPE ...`. Pure; any thread.
#pragma once

#include "directive/Fault.h"
#include "record/WordReader.h"

namespace sim {

inline constexpr uint32_t maxFlood = 1'000'000;
inline constexpr uint32_t maxGarbage = 1'000'000;

/// What follows the word `fault`: TYPE|any [skip N] [every N] [times N] [chance P%] ACTION.
Problem parseFault(WordReader& words, FaultRule& rule);

/// What follows the word `answer`: TYPE|any [skip N] [every N] [times N] [chance P%] name=value...
Problem parseAnswer(WordReader& words, FaultRule& rule);

}  // namespace sim
