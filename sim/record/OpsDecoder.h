// One OPS record as one line of text. A decoder never refuses: what it does not know is shown in hex with
// its place. Pure functions; any thread.
#pragma once

#include <cstddef>
#include <span>
#include <string>
#include <string_view>

#include "OtnIpcFields.h"

namespace sim {

/// "TYPE_NAME [n] field=value ...": the type's fields by name, the trailer's when isResponse is 1, then any
/// byte that is not zero and belongs to no field, as "@offset=hex". No line end.
std::string decodeRecord(const OtnIpcMsg& record);

/// One field's value as decodeRecord shows it.
std::string decodeField(const OtnIpcMsg& record, const ops::FieldInfo& field);

/// Bytes that are no whole record (a connection ended inside one).
std::string decodePartialRecord(std::span<const std::byte> bytes);

}  // namespace sim
