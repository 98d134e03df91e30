// Records out of an input.
#pragma once

#include <algorithm>
#include <string_view>

#include "OtnIpcMsg.h"
#include "fuzz/Input.h"

/// A type, what its trailer says, and then places and the bytes there; all else is zero.
inline OtnIpcMsg takeRecord(Input& input) {
  OtnIpcMsg record{};
  char* const bytes = reinterpret_cast<char*>(&record);
  const uint8_t type = input.byte();
  record.msgType = type < 2 * OtnIpcMsgTypeCount ? type % OtnIpcMsgTypeCount : input.number<uint32_t>();
  const uint8_t trailer = input.byte();
  record.isResponse = (trailer & 1) != 0 ? 1 : 0;
  if ((trailer & 2) != 0) memcpy(record.errorString, ops::noError.data(), ops::noError.size());
  for (int pieces = trailer >> 2; pieces > 0 && !input.atEnd(); --pieces) {
    const size_t at = input.number<uint16_t>() % sizeof record;
    const uint8_t how = input.byte();
    const size_t room = sizeof record - at;
    if (how >= 0xF0) {
      // So many bytes of one kind, up to all of the record.
      memset(bytes + at, input.byte(), std::min(room, size_t{1} << (how & 0xF)));
    } else {
      const std::string_view piece = input.take(std::min<size_t>(room, how % 33));
      std::copy(piece.begin(), piece.end(), bytes + at);
    }
  }
  return record;
}

inline std::string_view bytesOf(const OtnIpcMsg& record) {
  return {reinterpret_cast<const char*>(&record), sizeof record};
}
