// OPS messages as a test writes them down: the type and its fields by name. The names are those of
// OtnIpcFields.h, whose offsets a test of the end-to-end tests' own table holds.
//
//     recordOf({ofType(FLUSH_CMD), {"vpn", 7}, {"vp", 1}})
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "OtnIpcFields.h"

/// A number or a text in a field of the record's type or of the trailer, or bytes at an offset, where no
/// field is.
struct Field {
  Field(const char* fieldName, uint32_t value) : name(fieldName), number(value) {}
  Field(const char* fieldName, std::string text) : name(fieldName), bytes(std::move(text)) {}
  Field(size_t at, size_t size, uint32_t value) : offset(at), bytes(littleEndian(size, value)) {}
  Field(size_t at, std::string text) : offset(at), bytes(std::move(text)) {}

  static std::string littleEndian(size_t size, uint32_t value) {
    std::string result;
    for (size_t i = 0; i < size; ++i) result.push_back(static_cast<char>(value >> (8 * i) & 0xFFU));
    return result;
  }

  std::string name;
  std::optional<uint32_t> number;
  size_t offset = 0;
  std::string bytes;
};

/// The field at its place in a record of this type.
inline Field placed(const Field& field, uint32_t type) {
  if (field.name.empty()) return field;
  using Fields = std::span<const ops::FieldInfo>;
  for (const Fields fields : {ops::fieldsOf(type), Fields(ops::trailerFields)}) {
    for (const ops::FieldInfo& info : fields) {
      if (info.name != field.name) continue;
      std::string bytes = field.number ? Field::littleEndian(info.size, *field.number) : field.bytes;
      if (field.number && info.kind == ops::FieldKind::bigEndianNumber)
        std::reverse(bytes.begin(), bytes.end());
      EXPECT_LE(bytes.size(), info.size) << info.name;
      return {info.offset, bytes};
    }
  }
  ADD_FAILURE() << msgTypeName(type) << " has no field " << field.name;
  return {size_t{0}, ""};
}

inline Field word(size_t offset, uint32_t value) {
  return {offset, 4, value};
}
inline Field octet(size_t offset, uint32_t value) {
  return {offset, 1, value};
}
/// The type of the record; stands before its fields.
inline Field ofType(uint32_t type) {
  return word(0, type);
}
/// A field that records of another type have.
inline Field fieldOf(uint32_t type, const Field& field) {
  return placed(field, type);
}

inline std::string recordBytes(const std::vector<Field>& fields) {
  std::string bytes(6924, '\0');
  for (const Field& field : fields) {
    uint32_t type = 0;
    memcpy(&type, bytes.data(), sizeof type);
    const Field there = placed(field, type);
    bytes.replace(there.offset, there.bytes.size(), there.bytes);
  }
  return bytes;
}

/// A record that is zero but for the fields.
inline OtnIpcMsg recordOf(const std::vector<Field>& fields) {
  OtnIpcMsg msg;
  const std::string bytes = recordBytes(fields);
  EXPECT_EQ(bytes.size(), sizeof msg);
  memcpy(&msg, bytes.data(), sizeof msg);
  return msg;
}

inline std::string bytesOf(const OtnIpcMsg& msg) {
  return {reinterpret_cast<const char*>(&msg), sizeof msg};
}

/// Every byte of the record is the field's, or zero.
inline ::testing::AssertionResult hasExactly(const OtnIpcMsg& msg, const std::vector<Field>& fields) {
  const std::string expected = recordBytes(fields);
  const std::string actual = bytesOf(msg);
  for (size_t i = 0; i < expected.size(); ++i) {
    if (actual[i] != expected[i]) {
      return ::testing::AssertionFailure()
             << "offset " << i << " holds " << (actual[i] & 0xFF) << " instead of " << (expected[i] & 0xFF);
    }
  }
  return ::testing::AssertionSuccess();
}
