// Port bitmaps and the port lists of OPS messages. Pure functions; any thread.
//
// Bit n of a bitmap (front port n + 1) is bit 7 - n mod 8 of byte n div 8 of the four-byte list: the list is
// the bitmap with its 32 bits reversed, most significant byte first.
#pragma once

#include <cstdint>

constexpr uint32_t reverseBits(uint32_t value) {
  value = ((value >> 1) & 0x55555555U) | ((value & 0x55555555U) << 1);
  value = ((value >> 2) & 0x33333333U) | ((value & 0x33333333U) << 2);
  value = ((value >> 4) & 0x0F0F0F0FU) | ((value & 0x0F0F0F0FU) << 4);
  value = ((value >> 8) & 0x00FF00FFU) | ((value & 0x00FF00FFU) << 8);
  return (value >> 16) | (value << 16);
}

/// Stores a 32-bit port word most significant byte first.
constexpr void storePortWord(uint32_t word, uint8_t (&portList)[4]) {
  portList[0] = static_cast<uint8_t>(word >> 24);
  portList[1] = static_cast<uint8_t>(word >> 16);
  portList[2] = static_cast<uint8_t>(word >> 8);
  portList[3] = static_cast<uint8_t>(word);
}

constexpr uint32_t portListToBitmap(const uint8_t (&portList)[4]) {
  return reverseBits((uint32_t{portList[0]} << 24) | (uint32_t{portList[1]} << 16) |
                     (uint32_t{portList[2]} << 8) | uint32_t{portList[3]});
}

constexpr void bitmapToPortList(uint32_t bitmap, uint8_t (&portList)[4]) {
  storePortWord(reverseBits(bitmap), portList);
}
