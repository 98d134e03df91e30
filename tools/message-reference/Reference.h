// The OPS messages of OtnIpcFields.h written out: for people and for programs. A further output is one more
// function here and its line in main.cpp. Pure functions; any thread.
#pragma once

#include <span>
#include <string>

#include "OtnIpcFields.h"

namespace reference {

using Messages = std::span<const ops::MessageInfo>;

/// docs/messages.md.
std::string markdown(Messages messages);

/// One object: the types with their fields, and what they share.
std::string json(Messages messages);

/// The tables of the Wireshark dissector, in Lua; what uses them stands behind them (tools/dissector).
std::string lua(Messages messages);

struct KindText {
  const char* name;
  const char* meaning;
};
/// A field's kind as the outputs name it.
KindText kindText(ops::FieldKind kind);
/// A direction as the outputs for programs name it.
const char* directionName(ops::Direction direction);

inline constexpr ops::FieldKind lastKind = ops::FieldKind::redundancyState;

}  // namespace reference
