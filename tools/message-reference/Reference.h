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

struct KindText {
  const char* name;
  const char* meaning;
};
/// A field's kind as the outputs name it.
KindText kindText(ops::FieldKind kind);

inline constexpr ops::FieldKind lastKind = ops::FieldKind::redundancyState;

}  // namespace reference
