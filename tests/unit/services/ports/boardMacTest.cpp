#include "services/ports/boardMac.h"

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
  /// What the operator is told of a value that is no address.
  static std::string warning(const std::string& what, const std::string& address) {
    return loggedAnywhere("WARNING", "main", "main",
                          "ethaddr_first " + what + ": the board's MAC address is taken as " + address +
                              "; set it to six hexadecimal bytes such as 00:1a:2b:3c:4d:5e");
  }
  static std::string wrong(const std::string& text) { return "is not a MAC address (\"" + text + "\")"; }
  const std::string m_notice = loggedAnywhere("NOTICE", "main", "main", m_noticeText);
  const std::string m_numberedNotice = logged("NOTICE", "main", 155, "main", m_noticeText);

 private:
  static constexpr const char* m_noticeText = "not able to find mac: Numerical result out of range";
};

TEST_F(BoardMac, IsSixTokensInOrder) {
  EXPECT_THAT(read("00:1B:2c:3D:4e:FF"), ElementsAre(0x00, 0x1B, 0x2C, 0x3D, 0x4E, 0xFF));
  EXPECT_THAT(lines(), IsEmpty());
}

TEST_F(BoardMac, StaysZeroWithoutAValue) {
  EXPECT_THAT(read(nullptr), ElementsAre(0, 0, 0, 0, 0, 0));
  EXPECT_THAT(read(""), ElementsAre(0, 0, 0, 0, 0, 0));
  EXPECT_THAT(unnumbered(), ElementsAre(warning("is not set", "00:00:00:00:00:00"),
                                        warning(wrong(""), "00:00:00:00:00:00")));
}

TEST_F(BoardMac, MayHaveBytesOfOneDigit) {
  EXPECT_THAT(read("0:1B:2:3D:4E:f"), ElementsAre(0x00, 0x1B, 0x02, 0x3D, 0x4E, 0x0F));
  EXPECT_THAT(lines(), IsEmpty());
}

TEST_F(BoardMac, ThatIsNotSixBytesIsTold) {
  for (const char* text : {"01:02:03:04:05", "01:02:03:04:05:06:07",
                           "01:02:03:04:05:", "01:02:03:04:05:06:", ":01:02:03:04:05:06",
                           "01::02:03:04:05:06", "01-02-03-04-05-06", "01:02:03:04:05:0g",
                           "01:02:03:04:05:0x6", " 1:02:03:04:05:06", "01:02:03:04:05:+6", "eth0"}) {
    forget();
    read(text);
    EXPECT_EQ(unnumbered().size(), 1U) << text;
  }
}

TEST_F(BoardMac, ThatIsNoAddressIsShownPrintable) {
  EXPECT_THAT(read("\n"), ElementsAre(0, 0, 0, 0, 0, 0));
  read(std::string(1000, 'a').c_str());
  EXPECT_EQ(unnumbered()[0], warning(wrong(""), "00:00:00:00:00:00"));
  EXPECT_THAT(unnumbered()[2], ::testing::HasSubstr("(\"" + std::string(120, 'a') + "...\")"));
}

TEST_F(BoardMac, StoresTheLowByteOfALargerToken) {
  EXPECT_THAT(read("123:1:2:3:4:5"), ElementsAre(0x23, 1, 2, 3, 4, 5));
  EXPECT_THAT(unnumbered(), ElementsAre(warning(wrong("123:1:2:3:4:5"), "23:01:02:03:04:05")));
}

TEST_F(BoardMac, NotesATokenOutOfRangeAndStoresAByteAllTheSame) {
  EXPECT_THAT(read("01:FFFFFFFFFFFFFFFFFF:03:04:05:06"), ElementsAre(1, 0xFF, 3, 4, 5, 6));
  EXPECT_EQ(lines().at(0), m_numberedNotice);
  EXPECT_THAT(unnumbered(), ElementsAre(m_notice, warning(wrong("01:FFFFFFFFFFFFFFFFFF:03:04:05:06"),
                                                          "01:ff:03:04:05:06")));
}

TEST_F(BoardMac, StoresNothingBeyondTheSixth) {
  EXPECT_THAT(read("01:02:03:04:05:06:07:08:09:0A:0B:0C:0D:0E:0F:10"), ElementsAre(1, 2, 3, 4, 5, 6));
  EXPECT_THAT(read("11:12:13:14:15:16:FFFFFFFFFFFFFFFFFF"), ElementsAre(0x11, 0x12, 0x13, 0x14, 0x15, 0x16));
  EXPECT_THAT(
      unnumbered(),
      ElementsAre(warning(wrong("01:02:03:04:05:06:07:08:09:0A:0B:0C:0D:0E:0F:10"), "01:02:03:04:05:06"),
                  m_notice, warning(wrong("11:12:13:14:15:16:FFFFFFFFFFFFFFFFFF"), "11:12:13:14:15:16")))
      << "the seventh is still converted";
}

TEST_F(BoardMac, OfFewerTokensLeavesTheRest) {
  EXPECT_THAT(read("0A:0B"), ElementsAre(0x0A, 0x0B, 0, 0, 0, 0));
  EXPECT_THAT(unnumbered(), ElementsAre(warning(wrong("0A:0B"), "0a:0b:00:00:00:00")));
}

}  // namespace
