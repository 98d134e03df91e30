// Parts of the filter rule messages that several services build. Pure functions; any thread.
#pragma once

#include <cstdint>
#include <cstring>
#include <initializer_list>

#include "OtnIpcMsg.h"

/// A filter rule message with nothing but its type.
inline OtnIpcMsg emptyRule() {
  OtnIpcMsg msg{};
  msg.msgType = INTERESTED_PACKET_IND;
  return msg;
}

/// Makes `entry` match these bytes from the first on; the rest stays zero.
inline void matchBytes(ops::FilterEntry& entry, uint32_t type, std::initializer_list<uint8_t> value,
                       std::initializer_list<uint8_t> mask) {
  entry.type = type;
  memcpy(entry.value, value.begin(), value.size());
  memcpy(entry.mask, mask.begin(), mask.size());
}

/// Makes `entry` match a word.
inline void matchWord(ops::FilterEntry& entry, uint32_t type, uint32_t value, uint32_t mask) {
  entry.type = type;
  memcpy(entry.value, &value, sizeof value);
  memcpy(entry.mask, &mask, sizeof mask);
}

/// Makes `entry` match a whole MAC address.
inline void matchMac(ops::FilterEntry& entry, uint32_t type, std::initializer_list<uint8_t> mac) {
  matchBytes(entry, type, mac, {0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF});
}

/// Makes `entry` match a 16-bit value, least significant byte first, such as an EtherType.
inline void matchHalfWord(ops::FilterEntry& entry, uint32_t type, uint16_t value) {
  matchWord(entry, type, value, 0xFFFF);
}
