// A record, or changes to one, as a directive words them: `TYPE name=value ...`. Names are those of the
// records' one field table. Plain data.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "OtnIpcMsg.h"
#include "base/Problem.h"

namespace sim {

/// Bytes to put at a place of a record.
struct FieldValue {
  size_t offset;
  std::string bytes;
};

struct RecordChanges {
  std::vector<FieldValue> fields;

  void applyTo(OtnIpcMsg& record) const;
};

struct RecordTemplate {
  uint32_t type = InvalidMsgType;
  RecordChanges changes;

  OtnIpcMsg build() const;
};

/// A message type by name or number.
bool parseType(std::string_view word, uint32_t& type);

/// Reads `name=value`, where the name is one of the type's fields or of the answer's trailer, or
/// `@offset=hex`.
Problem parseField(uint32_t type, std::string_view word, RecordChanges& changes);

}  // namespace sim
