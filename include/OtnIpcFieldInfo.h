// What there is to say of an OPS message type and of a field: the words in which OtnIpcFields.h describes
// them. Constant data; any thread.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

#include "OtnIpcMsg.h"

namespace ops {

enum class FieldKind : uint8_t {
  number,           ///< unsigned, 1, 2 or 4 bytes
  signedNumber,     ///< signed, 4 bytes
  label,            ///< unsigned, 4 bytes, shown in hex
  text,             ///< bounded text
  mac,              ///< 6 bytes
  ipAddress,        ///< unsigned, 4 bytes, the first number in the most significant byte
  bytes,            ///< shown in hex up to the last one that is not zero
  values,           ///< one number a byte
  bigEndianNumber,  ///< unsigned, 4 bytes, most significant first
  portList,         ///< 4 bytes, see PortBitmap.h
  filterEntries,    ///< FilterEntry records up to the last one that is not all zero, or the entry count
  vlanList,  ///< signed 32-bit values up to the last one that is not zero; in an answer the trailer ends them
  redundancyState,  ///< see RedundancyState.h
};

/// What a value of a field stands for.
struct ValueName {
  int64_t value;
  const char* name;
};
inline constexpr int64_t anyOther = -1;  ///< in place of a value: all that are not named

struct FieldInfo {
  const char* name;
  uint16_t offset;  ///< from the start of the record
  uint16_t size;
  FieldKind kind;
  const char* meaning;
  const char* unit = "";
  std::span<const ValueName> values = {};
};

enum class Direction : uint8_t { toIss, fromIss, unused };

struct MessageInfo {
  OtnIpcMsgType type;
  Direction direction;
  bool isAnswer;        ///< one that comes from ISS answers the request that is outstanding
  const char* partner;  ///< the daemon's side: who sends it to ISS, or what one from ISS is for
  const char* meaning;
  std::span<const FieldInfo> fields;
};

constexpr FieldInfo fieldInfo(const char* name, size_t offset, size_t size, FieldKind kind,
                              const char* meaning, const char* unit = "") {
  return {name, static_cast<uint16_t>(offset), static_cast<uint16_t>(size), kind, meaning, unit};
}
constexpr FieldInfo fieldInfo(const char* name, size_t offset, size_t size, FieldKind kind,
                              const char* meaning, std::span<const ValueName> values) {
  return {name, static_cast<uint16_t>(offset), static_cast<uint16_t>(size), kind, meaning, "", values};
}

}  // namespace ops
