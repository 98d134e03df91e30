// A message of the ring, named for a line of the log, so that an operator sees whose request it belongs to.
#pragma once

#include <cstddef>

struct MsgArrayEntry;

struct SlotText {
  static constexpr size_t size = 256;
  char text[size];
};

/// Interface, place in its request, type and main arguments of a message: "IssSetLanWanAsync (source 1)
/// message 1 of 2, RUN_DEFAULT_SCRIPT_COMMAND [8], port 5, set up [1]". With the ring's mutex held. Allocates
/// nothing.
SlotText slotText(const MsgArrayEntry& slot);
