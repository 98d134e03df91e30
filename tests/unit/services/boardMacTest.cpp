#include "services/boardMac.h"

#include <array>
#include <cstring>

#include "support/RoomTest.h"

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

class BoardMac : public RoomTest {
 protected:
  BoardMac() { memset(macAddr, 0, sizeof macAddr); }

  static std::array<int, 6> read(const char* text) {
    readMacAddress(text);
    std::array<int, 6> bytes{};
    for (size_t i = 0; i < 6; ++i) bytes[i] = macAddr[i];
    return bytes;
  }
  const std::string m_notice =
      logged("NOTICE", "main", 155, "main", "not able to find mac: Numerical result out of range");
};

TEST_F(BoardMac, IsSixTokensInOrder) {
  EXPECT_THAT(read("00:1B:2c:3D:4e:FF"), ElementsAre(0x00, 0x1B, 0x2C, 0x3D, 0x4E, 0xFF));
  EXPECT_THAT(lines(), IsEmpty());
}

TEST_F(BoardMac, StaysZeroWithoutAValue) {
  EXPECT_THAT(read(nullptr), ElementsAre(0, 0, 0, 0, 0, 0));
  EXPECT_THAT(read(""), ElementsAre(0, 0, 0, 0, 0, 0));
  EXPECT_THAT(lines(), IsEmpty());
}

TEST_F(BoardMac, StoresTheLowByteOfALargerToken) {
  EXPECT_THAT(read("123:1:2:3:4:5"), ElementsAre(0x23, 1, 2, 3, 4, 5));
  EXPECT_THAT(lines(), IsEmpty());
}

TEST_F(BoardMac, NotesATokenOutOfRangeAndStoresAByteAllTheSame) {
  EXPECT_THAT(read("01:FFFFFFFFFFFFFFFFFF:03:04:05:06"), ElementsAre(1, 0xFF, 3, 4, 5, 6));
  EXPECT_THAT(lines(), ElementsAre(m_notice));
}

TEST_F(BoardMac, StoresNothingBeyondTheSixth) {
  EXPECT_THAT(read("01:02:03:04:05:06:07:08:09:0A:0B:0C:0D:0E:0F:10"), ElementsAre(1, 2, 3, 4, 5, 6));
  EXPECT_THAT(read("11:12:13:14:15:16:FFFFFFFFFFFFFFFFFF"), ElementsAre(0x11, 0x12, 0x13, 0x14, 0x15, 0x16));
  EXPECT_THAT(lines(), ElementsAre(m_notice)) << "the seventh is still converted";
}

TEST_F(BoardMac, OfFewerTokensLeavesTheRest) {
  EXPECT_THAT(read("0A:0B"), ElementsAre(0x0A, 0x0B, 0, 0, 0, 0));
}

}  // namespace
