#include "record/FilterEntryText.h"

#include <gtest/gtest.h>

namespace {

TEST(FilterEntryText, SaysWhatAnEntryMatches) {
  const auto text = [](const ops::FilterEntry& entry, uint32_t kind = ops::etsRule) {
    return sim::decodeFilterEntry(entry, kind);
  };
  EXPECT_EQ(text({1, {2, 0x5A, 0xC3, 0, 0x1E, 0xFF}, {255, 255, 255, 255, 255, 255}}),
            "mac=02:5a:c3:00:1e:ff");
  EXPECT_EQ(text({8, {1, 0x15, 0x4E, 0, 0, 0}, {255, 255, 255, 255, 255, 0}}),
            "mac=01:15:4e:00:00:00/ff:ff:ff:ff:ff:00");
  EXPECT_EQ(text({10, {0xE3, 0x88}, {255, 255}}), "etherType=0x88e3");
  EXPECT_EQ(text({9, {0x00, 0x81}, {255, 255}}), "etherType=0x8100");
  EXPECT_EQ(text({3, {0xA0, 0x0F}, {255, 255}}), "vlan=4000");
  EXPECT_EQ(text({7, {7}, {255, 255, 0, 0}}), "vpn=7");
  EXPECT_EQ(text({12, {3}, {255}}), "");
  const ops::FilterEntry labels{
      11, {0, 0x40, 0x06, 0, 0, 0x80, 0x0C, 0}, {0xFF, 0xFF, 0xF0, 0, 0xFF, 0xFF, 0xF0, 0}};
  EXPECT_EQ(text(labels, ops::mstpRule), "mplsLabel=100,pwLabel=200");
  EXPECT_EQ(text(labels, ops::mrpRule), "mplsLabel=100,pwLabel=200");
  EXPECT_EQ(text(labels, ops::smartSfpRule), "");
  EXPECT_EQ(text({11, {0, 0x40, 0x06}, {0xFF, 0xFF, 0xF0}}, ops::mstpRule), "mplsLabel=100");
}

}  // namespace
