// Records as a test of the simulator fills them.
#pragma once

#include <algorithm>
#include <cstring>
#include <initializer_list>
#include <string_view>

#include "OtnIpcMsg.h"

inline OtnIpcMsg record(uint32_t type) {
  OtnIpcMsg msg{};
  msg.msgType = type;
  return msg;
}

template <size_t N>
void setText(char (&field)[N], std::string_view text) {
  memcpy(field, text.data(), std::min(N, text.size()));
}

inline OtnIpcMsg answerOf(uint32_t type, std::string_view error = ops::noError) {
  OtnIpcMsg msg = record(type);
  setText(msg.errorString, error);
  msg.isResponse = 1;
  return msg;
}

inline void setDataVlans(OtnIpcMsg& msg, std::initializer_list<int32_t> vlans) {
  constexpr size_t first = offsetof(ops::VlanMapping, firstDataVlan);
  memcpy(msg.payload.bytes + first, vlans.begin(), vlans.size() * sizeof(int32_t));
}
