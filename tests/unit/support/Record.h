// OPS messages written and checked by their offsets, independently of the record's types.
#pragma once

#include <gtest/gtest.h>

#include <cstring>
#include <initializer_list>
#include <string>
#include <vector>

#include "OtnIpcMsg.h"

/// A little-endian number of 1, 2 or 4 bytes, or a text, at an offset of the record.
struct Field {
  Field(size_t at, size_t size, uint32_t value) : offset(at) {
    for (size_t i = 0; i < size; ++i) bytes.push_back(static_cast<char>(value >> (8 * i) & 0xFFU));
  }
  Field(size_t at, std::string text) : offset(at), bytes(std::move(text)) {}

  size_t offset;
  std::string bytes;
};

inline Field word(size_t offset, uint32_t value) {
  return {offset, 4, value};
}
inline Field octet(size_t offset, uint32_t value) {
  return {offset, 1, value};
}

inline std::string recordBytes(const std::vector<Field>& fields) {
  std::string bytes(6924, '\0');
  for (const Field& field : fields) bytes.replace(field.offset, field.bytes.size(), field.bytes);
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
