// Bytes of any kind as records; nothing is refused.
#include "ops/Records.h"

#include <gmock/gmock.h>

#include "capture/Capture.h"

namespace {

using namespace ctl;
using ::testing::HasSubstr;
using ::testing::SizeIs;
using ::testing::StartsWith;

std::string flush(uint32_t vpn) {
  OtnIpcMsg record{};
  record.msgType = FLUSH_CMD;
  record.payload.flush = {vpn, 2};
  return {reinterpret_cast<const char*>(&record), sizeof record};
}

TEST(Records, RawOnesFollowEachOther) {
  const DecodedInput input = decodeInput(flush(7) + flush(8) + "abc\x01");
  EXPECT_EQ(input.what, "raw records");
  ASSERT_THAT(input.pieces, SizeIs(3));
  EXPECT_EQ(input.pieces[1].line, "FLUSH_CMD [16] vpn=8 vp=2");
  EXPECT_EQ(input.pieces[2].line, "partial record, 4 of 6924 bytes: 61626301");
  EXPECT_THAT(toJson(input.pieces[0].node), HasSubstr(R"("fields": {"vpn": "7", "vp": "2"})"));
}

TEST(Records, NothingIsNothing) {
  EXPECT_THAT(decodeInput("").pieces, SizeIs(0));
}

TEST(Records, BytesByChanceAreShown) {
  uint32_t state = 1;
  for (size_t size : {1, 2, 100, 6923, 6924, 6925, 20000}) {
    std::string bytes;
    while (bytes.size() < size) bytes += static_cast<char>((state = state * 1664525 + 1013904223) >> 24);
    EXPECT_THAT(decodeInput(bytes).pieces, SizeIs((size + 6923) / 6924)) << size;
  }
}

TEST(Records, CapturesAreTakenApart) {
  sim::CaptureEncoder encoder(8000);
  const std::string record = flush(7);
  const auto bytes = std::as_bytes(std::span(record));
  std::string file = sim::CaptureEncoder::start();
  file += encoder.connected(std::chrono::seconds(1));
  file += encoder.data(sim::Direction::in, bytes, std::chrono::seconds(2));
  file += encoder.data(sim::Direction::out, bytes.first(5), std::chrono::seconds(3));
  file += encoder.ended(sim::Direction::out, false, std::chrono::seconds(4));
  const DecodedInput input = decodeInput(file);
  EXPECT_EQ(input.what, "a capture");
  ASSERT_THAT(input.pieces, SizeIs(2));
  EXPECT_THAT(input.pieces[0].line, HasSubstr(" -> FLUSH_CMD [16] vpn=7 vp=2"));
  EXPECT_THAT(input.pieces[1].line, HasSubstr(" <- partial record, 5 of 6924 bytes: 1000000007"));
}

TEST(Records, BrokenCapturesAreRawBytes) {
  const DecodedInput input = decodeInput("\x0a\x0d\x0d\x0a rubbish");
  EXPECT_THAT(input.what, StartsWith("raw records: as a capture it cannot be read ("));
  EXPECT_THAT(input.pieces, SizeIs(1));
}

TEST(HexDump, IsReadAsToolsPrintIt) {
  std::string wanted("\x10\0\0\0\x07\0\0\0", 8);
  wanted += std::string(40, '\0');
  wanted += "ab";
  const char* dumps[] = {
      // xxd
      "00000000: 1000 0000 0700 0000 0000 0000 0000 0000  ................\n"
      "00000010: 0000 0000 0000 0000 0000 0000 0000 0000  ................\n"
      "00000020: 0000 0000 0000 0000 0000 0000 0000 0000  ................\n"
      "00000030: 6162                                     ab\n",
      // hexdump -C
      "00000000  10 00 00 00 07 00 00 00  00 00 00 00 00 00 00 00  |................|\n"
      "00000010  00 00 00 00 00 00 00 00  00 00 00 00 00 00 00 00  |................|\n"
      "*\n"
      "00000030  61 62                                             |ab|\n"
      "00000032\n",
      // od -A x -t x1
      "000000 10 00 00 00 07 00 00 00 00 00 00 00 00 00 00 00\n"
      "000010 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00\n"
      "*\n"
      "000030 61 62\n"
      "000032\n",
      // a plain list
      "10000000 07000000\n0x00,0x00,00 00\n"
      "000000000000000000000000000000000000000000000000000000000000000000000000\n61 62",
  };
  for (const char* dump : dumps) {
    std::string bytes;
    EXPECT_TRUE(readHexDump(dump, bytes)) << dump;
    EXPECT_EQ(bytes, wanted) << dump;
  }
}

TEST(HexDump, IsNotEveryText) {
  std::string bytes;
  for (const char* text : {"", "hello world", "10 00 xx", "123", "\x01\x02", "*\n00000010\n"}) {
    EXPECT_FALSE(readHexDump(text, bytes)) << text;
  }
}

}  // namespace
