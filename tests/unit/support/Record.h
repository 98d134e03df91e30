// OPS messages as a test writes them down: the type and its fields by name. The names are those of
// OtnIpcFields.h, whose offsets a test of the end-to-end tests' own table holds.
//
//     recordOf({ofType(FLUSH_CMD), {"vpn", 7}, {"vp", 1}})
//
// What the type does not have, or what does not fit, is a failure of the test.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <charconv>
#include <cstring>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "OtnIpcFields.h"

/// Bytes by their digits: hex("0180c2000000").
inline std::string hex(const std::string& digits) {
  EXPECT_EQ(digits.size() % 2, 0U) << digits;
  std::string bytes;
  for (size_t at = 0; at + 1 < digits.size(); at += 2) {
    uint8_t byte = 0;
    const char* const end = digits.data() + at + 2;
    EXPECT_EQ(std::from_chars(end - 2, end, byte, 16).ptr, end) << digits;
    bytes.push_back(static_cast<char>(byte));
  }
  return bytes;
}

/// Numbers of four bytes, the least significant first, one behind the other.
inline std::string words(const std::vector<uint32_t>& numbers) {
  std::string bytes;
  for (const uint32_t number : numbers)
    for (int bit = 0; bit < 32; bit += 8) bytes.push_back(static_cast<char>(number >> bit & 0xFFU));
  return bytes;
}

/// A filter entry of a rule: which part of a frame, what must stand there, and which bits of it count.
struct Match {
  uint32_t type = 0;
  std::string value{};
  std::string mask{};

  std::string bytes() const {
    return words({type}) + filled(value, sizeof ops::FilterEntry::value) +
           filled(mask, sizeof ops::FilterEntry::mask);
  }

 private:
  static std::string filled(std::string bytes, size_t size) {
    EXPECT_LE(bytes.size(), size) << "does not fit in a filter entry";
    bytes.resize(size);
    return bytes;
  }
};
using Matches = std::vector<Match>;

/// A number, bytes or filter entries in a field of the record's type or of the trailer, or bytes at an offset
/// where no field is.
struct Field {
  Field(const char* fieldName, uint32_t value) : name(fieldName), number(value) {}
  Field(const char* fieldName, std::string text) : name(fieldName), bytes(std::move(text)) {}
  Field(const char* fieldName, const Matches& matches) : name(fieldName) {
    for (const Match& match : matches) bytes += match.bytes();
  }
  Field(size_t at, std::string text) : offset(at), bytes(std::move(text)) {}

  std::string name;
  std::optional<uint32_t> number;
  size_t offset = 0;
  std::string bytes;
  std::optional<uint32_t> owner;  ///< the type that has the field, where it is not the record's own
};

/// A byte that is no field's, by its offset.
inline Field octet(size_t offset, uint8_t value) {
  return {offset, std::string(1, static_cast<char>(value))};
}
/// Bytes that no field has: the last ones of the record, and of what stands before the trailer.
inline constexpr size_t lastByte = sizeof(OtnIpcMsg) - 1;
inline constexpr size_t lastPayloadByte = offsetof(OtnIpcMsg, errorString) - 1;

/// The type of the record; stands before its fields.
inline Field ofType(uint32_t type) {
  return {offsetof(OtnIpcMsg, msgType), words({type})};
}
/// A field that records of another type have.
inline Field fieldOf(uint32_t type, Field field) {
  field.owner = type;
  return field;
}

/// The first field of the type or of the trailer that is the one, or none.
template <typename IsTheOne>
const ops::FieldInfo* findField(uint32_t type, const IsTheOne& isTheOne) {
  using Fields = std::span<const ops::FieldInfo>;
  for (const Fields fields : {ops::fieldsOf(type), Fields(ops::trailerFields)})
    for (const ops::FieldInfo& info : fields)
      if (isTheOne(info)) return &info;
  return nullptr;
}
inline const ops::FieldInfo* fieldAt(uint32_t type, size_t offset, size_t size = 1) {
  return findField(type, [&](const ops::FieldInfo& info) {
    return info.offset < offset + size && offset < size_t{info.offset} + info.size;
  });
}

/// The bytes of a number in its field.
inline std::string numberBytes(const ops::FieldInfo& info, uint32_t value) {
  using Kind = ops::FieldKind;
  const bool isNumber = info.kind == Kind::number || info.kind == Kind::signedNumber ||
                        info.kind == Kind::label || info.kind == Kind::ipAddress ||
                        info.kind == Kind::redundancyState || info.kind == Kind::bigEndianNumber;
  EXPECT_TRUE(isNumber) << info.name << " holds no number";
  if (!isNumber) return {};
  std::string bytes = words({value});
  EXPECT_EQ(bytes.find_first_not_of('\0', info.size), std::string::npos)
      << value << " does not fit in " << info.name;
  bytes.resize(info.size);
  if (info.kind == Kind::bigEndianNumber) std::reverse(bytes.begin(), bytes.end());
  return bytes;
}

/// Puts the field at its place in a record of this type.
inline void put(const Field& field, uint32_t type, std::string& record) {
  if (field.name.empty()) {
    if (const ops::FieldInfo* const named = fieldAt(type, field.offset, field.bytes.size()))
      ADD_FAILURE() << "the bytes at offset " << field.offset << " are of the field " << named->name;
    record.replace(field.offset, field.bytes.size(), field.bytes);
    return;
  }
  const uint32_t owner = field.owner.value_or(type);
  const ops::FieldInfo* const info =
      findField(owner, [&](const ops::FieldInfo& each) { return each.name == field.name; });
  if (info == nullptr) {
    ADD_FAILURE() << msgTypeName(owner) << " has no field " << field.name;
    return;
  }
  const std::string bytes = field.number ? numberBytes(*info, *field.number) : field.bytes;
  EXPECT_LE(bytes.size(), info->size) << "does not fit in " << info->name;
  record.replace(info->offset, bytes.size(), bytes);
}

inline uint32_t typeOf(const std::string& record) {
  uint32_t type = 0;
  memcpy(&type, record.data(), sizeof type);
  return type;
}

inline std::string recordBytes(const std::vector<Field>& fields) {
  std::string bytes(sizeof(OtnIpcMsg), '\0');
  for (const Field& field : fields) put(field, typeOf(bytes), bytes);
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
    if (actual[i] == expected[i]) continue;
    const ops::FieldInfo* const info = fieldAt(typeOf(expected), i);
    return ::testing::AssertionFailure()
           << "offset " << i << (info == nullptr ? "" : " in ") << (info == nullptr ? "" : info->name)
           << " holds " << (actual[i] & 0xFF) << " instead of " << (expected[i] & 0xFF);
  }
  return ::testing::AssertionSuccess();
}
