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
  for (const size_t size : std::initializer_list<size_t>{1, 2, 100, 6923, 6924, 6925, 20000}) {
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

/// A conversation on port 8000, as the simulator captures it.
std::string conversation(bool fromTheBeginning) {
  sim::CaptureEncoder encoder(8000);
  const std::string request = flush(7);
  const std::string answer = flush(8);
  std::string file = sim::CaptureEncoder::start();
  const std::string handshake = encoder.connected(std::chrono::seconds(1));
  if (fromTheBeginning) file += handshake;
  file += encoder.data(sim::Direction::out, std::as_bytes(std::span(answer)), std::chrono::seconds(2));
  return file + encoder.data(sim::Direction::in, std::as_bytes(std::span(request)), std::chrono::seconds(3));
}

uint32_t wordAt(const std::string& bytes, size_t at) {
  uint32_t word = 0;
  memcpy(&word, &bytes[at], sizeof word);
  return word;
}

void putWord(std::string& bytes, uint32_t word, bool swapped) {
  if (swapped) word = __builtin_bswap32(word);
  bytes.append(reinterpret_cast<const char*>(&word), sizeof word);
}

/// The packets of a pcapng file with times in nanoseconds, as tcpdump would write them.
std::string asPcap(const std::string& pcapng, uint32_t magic, bool swapped) {
  std::string file;
  for (const uint32_t word : {magic, uint32_t{2}, uint32_t{0}, uint32_t{0}, uint32_t{65535}, uint32_t{101}}) {
    putWord(file, word, swapped);
  }
  for (size_t at = 0; at < pcapng.size(); at += wordAt(pcapng, at + 4)) {
    if (wordAt(pcapng, at) != 6) continue;
    const uint32_t size = wordAt(pcapng, at + 20);
    for (const uint32_t word : {uint32_t{1}, uint32_t{5}, size, size}) putWord(file, word, swapped);
    file += pcapng.substr(at + 28, size);
  }
  return file;
}

TEST(Records, CapturesMayBeginAtAnyTime) {
  const DecodedInput input = decodeInput(conversation(false));
  EXPECT_EQ(input.what, "a capture");
  ASSERT_THAT(input.pieces, SizeIs(2));
  EXPECT_THAT(input.pieces[0].line, HasSubstr(" <- FLUSH_CMD [16] vpn=8 vp=2"));
  EXPECT_THAT(input.pieces[1].line, HasSubstr(" -> FLUSH_CMD [16] vpn=7 vp=2"));
}

TEST(Records, CapturesOfTcpdumpAreRead) {
  for (const uint32_t magic : {0xA1B2C3D4U, 0xA1B23C4DU}) {
    for (const bool swapped : {false, true}) {
      for (const bool whole : {false, true}) {
        const std::string file = asPcap(conversation(whole), magic, swapped);
        EXPECT_EQ(decodeInput(file).what, "a capture");
        EXPECT_THAT(decodeInput(file).pieces, SizeIs(2));
        EXPECT_THAT(decodeInput(file.substr(0, file.size() - 1)).pieces, SizeIs(2))
            << "its last packet is an ack";
      }
    }
  }
}

TEST(Records, CapturesCutAnywhereAreShown) {
  const std::string file = conversation(false);
  for (size_t size = 4; size < file.size(); size += 997) {
    EXPECT_THAT(decodeInput(file.substr(0, size)).pieces, testing::Not(SizeIs(0))) << size;
  }
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
      R"(00000000: 1000 0000 0700 0000 0000 0000 0000 0000  ................
00000010: 0000 0000 0000 0000 0000 0000 0000 0000  ................
00000020: 0000 0000 0000 0000 0000 0000 0000 0000  ................
00000030: 6162                                     ab
)",
      // hexdump -C
      R"(00000000  10 00 00 00 07 00 00 00  00 00 00 00 00 00 00 00  |................|
00000010  00 00 00 00 00 00 00 00  00 00 00 00 00 00 00 00  |................|
*
00000030  61 62                                             |ab|
00000032
)",
      // od -A x -t x1
      R"(000000 10 00 00 00 07 00 00 00 00 00 00 00 00 00 00 00
000010 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00
*
000030 61 62
000032
)",
      // a plain list
      R"(10000000 07000000
0x00,0x00,00 00
00000000 0000000000000000000000000000000000000000000000000000000000000000
61 62)",
  };
  for (const char* dump : dumps) {
    std::string bytes;
    EXPECT_TRUE(readHexDump(dump, bytes)) << dump;
    EXPECT_EQ(bytes, wanted) << dump;
  }
}

TEST(HexDump, RepeatsALineForAMegabyteAtMost) {
  std::string bytes;
  EXPECT_TRUE(readHexDump("00000000  61 62\n*\n00100002  63\n", bytes));
  EXPECT_EQ(bytes.size(), (1U << 20) + 3);
  EXPECT_TRUE(bytes.starts_with("ababab") && bytes.ends_with("ababc"));
  EXPECT_FALSE(readHexDump("00000000  61 62\n*\n00100003  63\n", bytes));
  EXPECT_FALSE(readHexDump("00000000  61 62\n*\n00100003\n", bytes));
}

TEST(HexDump, IsNotEveryText) {
  std::string bytes;
  for (const char* text : {"", "hello world", "10 00 xx", "123", "\x01\x02", "*\n00000010\n"}) {
    EXPECT_FALSE(readHexDump(text, bytes)) << text;
  }
}

}  // namespace
