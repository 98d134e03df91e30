#include "PortBitmap.h"

#include <gtest/gtest.h>

namespace {

uint32_t bitmapOf(uint8_t b0, uint8_t b1, uint8_t b2, uint8_t b3) {
  const uint8_t list[4] = {b0, b1, b2, b3};
  return portListToBitmap(list);
}

TEST(PortBitmap, OfKnownPortLists) {
  EXPECT_EQ(bitmapOf(0x80, 0, 0, 0), 0x1U);
  EXPECT_EQ(bitmapOf(0, 0, 0, 0x01), 0x80000000U);
  EXPECT_EQ(bitmapOf(0xC0, 0, 0, 0x10), 0x8000003U);
  EXPECT_EQ(bitmapOf(0, 0, 0, 0), 0U);
  EXPECT_EQ(bitmapOf(0xFF, 0xFF, 0xFF, 0xFF), 0xFFFFFFFFU);
  EXPECT_EQ(bitmapOf(0x01, 0, 0, 0), 0x80U);
  EXPECT_EQ(bitmapOf(0, 0x80, 0, 0), 0x100U);
}

TEST(PortBitmap, StandsBitByBitForTheList) {
  for (unsigned n = 0; n < 32; ++n) {
    uint8_t list[4] = {};
    list[n / 8] = static_cast<uint8_t>(1U << (7 - n % 8));
    EXPECT_EQ(portListToBitmap(list), 1U << n);
    uint8_t back[4] = {};
    bitmapToPortList(1U << n, back);
    for (unsigned i = 0; i < 4; ++i) EXPECT_EQ(back[i], list[i]) << n;
  }
}

TEST(PortBitmap, RoundTrips) {
  uint32_t value = 1;
  for (int i = 0; i < 1000; ++i) {
    value = value * 1664525U + 1013904223U;
    uint8_t list[4];
    bitmapToPortList(value, list);
    EXPECT_EQ(portListToBitmap(list), value);
    EXPECT_EQ(reverseBits(reverseBits(value)), value);
  }
}

TEST(PortWord, IsStoredMostSignificantByteFirst) {
  uint8_t list[4];
  storePortWord(0x12345678, list);
  EXPECT_EQ(list[0], 0x12);
  EXPECT_EQ(list[1], 0x34);
  EXPECT_EQ(list[2], 0x56);
  EXPECT_EQ(list[3], 0x78);
}

}  // namespace
