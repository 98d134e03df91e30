// OBvalues in and out of D-Bus messages, for the thread that holds the bus's lock.
#pragma once

#include <systemd/sd-bus.h>

#include <cstddef>
#include <memory>
#include <span>
#include <vector>

#include "OBmessage.h"

namespace otnbus {

struct MessageUnref {
  void operator()(sd_bus_message* message) const { sd_bus_message_unref(message); }
};
using Message = std::unique_ptr<sd_bus_message, MessageUnref>;
struct SlotUnref {
  void operator()(sd_bus_slot* slot) const { sd_bus_slot_unref(slot); }
};
using Slot = std::unique_ptr<sd_bus_slot, SlotUnref>;

/// Bytes that the text arguments of one message may have together.
constexpr size_t maxText = 1U << 20;
/// Bytes of text that all calls together may have that wait, or that are not answered yet.
constexpr size_t maxTextTogether = 8U << 20;

enum class ReadResult { Read, WrongSignature, TooMuchText };

/// Reads all arguments, and copies no text beyond maxText; may throw std::bad_alloc. What was read counts
/// only when all was.
ReadResult readValues(sd_bus_message* message, const char* signature, std::vector<OBvalue>& values);
/// False when the message cannot carry a value.
bool appendValues(sd_bus_message* message, std::span<const OBvalue> values);
/// Bytes that the message takes while it is kept: its path and arguments of any type. Counts no further than
/// the first that lies beyond `limit`. The message is as new afterwards.
size_t keptSize(sd_bus_message* message, size_t limit);
/// Bytes of all text values.
size_t textSize(std::span<const OBvalue> values);

}  // namespace otnbus
