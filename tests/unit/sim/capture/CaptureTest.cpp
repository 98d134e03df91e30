#include "capture/Capture.h"

#include <gmock/gmock.h>

#include <vector>

#include "capture/CaptureReader.h"
#include "sim/support/Program.h"

namespace {

using namespace std::chrono_literals;
using sim::CapturedConnection;
using sim::Direction;
using sim::Ending;
using ::testing::EndsWith;
using ::testing::HasSubstr;
using ::testing::StartsWith;

std::span<const std::byte> asBytes(const std::string& text) {
  return std::as_bytes(std::span(text));
}

/// The 32-bit word at a place, little-endian.
uint32_t word(const std::string& file, size_t at) {
  uint32_t value = 0;
  memcpy(&value, &file.at(at), sizeof value);
  return value;
}

class Capture : public ::testing::Test {
 protected:
  std::vector<CapturedConnection> read() {
    std::vector<CapturedConnection> connections;
    EXPECT_EQ(sim::readCapture(m_file, connections), std::nullopt);
    return connections;
  }
  std::string problem() {
    std::vector<CapturedConnection> connections;
    return sim::readCapture(m_file, connections).value_or("none");
  }
  /// A connection with a request and an answer of two writes.
  void record() {
    m_file += m_encoder.connected(10s);
    m_file += m_encoder.data(Direction::in, asBytes("request"), 10s + 5ns);
    m_file += m_encoder.data(Direction::out, asBytes("ans"), 11s);
    m_file += m_encoder.data(Direction::out, asBytes("wer"), 12s);
  }

  sim::CaptureEncoder m_encoder{8000};
  std::string m_file = sim::CaptureEncoder::start();
};

TEST_F(Capture, BeginsAsPcapng) {
  EXPECT_THAT(m_file, StartsWith("\x0a\x0d\x0d\x0a"));
  EXPECT_EQ(word(m_file, 8), 0x1A2B3C4DU);
  const size_t interface = word(m_file, 4);
  EXPECT_EQ(word(m_file, interface), 1U);
  EXPECT_EQ(word(m_file, interface + 8) & 0xffff, 101U);
  EXPECT_EQ(interface + word(m_file, interface + 4), m_file.size());
}

TEST_F(Capture, MakesPacketsWithCorrectSums) {
  const std::string block = m_encoder.connected(10s).substr(0, 72);
  EXPECT_EQ(word(block, 0), 6U);
  EXPECT_EQ(word(block, 4), 72U);
  EXPECT_EQ(word(block, 20), 40U);
  const std::string packet = block.substr(28, 40);
  // Worked out by hand: addresses 127.0.0.1, ports 49152 to 8000, sequence number 0x2625a0 (10 s in steps
  // of 4 us), SYN.
  const unsigned char expected[] = {
      0x45, 0, 0,    0x28, 0, 0,    0x40, 0,    0x40, 6, 0x3c, 0xce, 0x7f, 0, 0,    1,    0x7f, 0,    0, 1,
      0xc0, 0, 0x1f, 0x40, 0, 0x26, 0x25, 0xa0, 0,    0, 0,    0,    0x50, 2, 0xff, 0xff, 0xac, 0xd9, 0, 0};
  EXPECT_EQ(packet, std::string(reinterpret_cast<const char*>(expected), sizeof expected));
}

TEST_F(Capture, PutsACommentOnThePacketWithTheLastByte) {
  m_encoder.connected(10s);
  const std::string plain = sim::CaptureEncoder(m_encoder).data(Direction::out, asBytes("answer"), 11s);
  const std::string data = m_encoder.data(Direction::out, asBytes("answer"), 11s, "late");
  // 46 bytes of packet and 2 of padding, then the comment, and the end of the options.
  EXPECT_EQ(word(data, 4), word(plain, 4) + 12);
  EXPECT_EQ(data.substr(28, 48), plain.substr(28, 48));
  EXPECT_EQ(data.substr(76, 12), std::string("\1\0\4\0late\0\0\0\0", 12));
  EXPECT_EQ(data.substr(word(data, 4)), plain.substr(word(plain, 4)));
}

TEST_F(Capture, WithCommentsIsReadBack) {
  m_file += m_encoder.connected(10s);
  m_file += m_encoder.data(Direction::out, asBytes("ans"), 11s, "an odd one");
  m_file += m_encoder.note("dropped", 11s);
  m_file += m_encoder.data(Direction::out, asBytes("wer"), 12s, "even");
  m_file += m_encoder.ended(Direction::out, false, 13s, "the end");
  const auto connections = read();
  ASSERT_EQ(connections.at(0).traffic.size(), 2U);
  EXPECT_EQ(connections[0].traffic[0].bytes + connections[0].traffic[1].bytes, "answer");
  EXPECT_EQ(connections[0].endedByIss, Ending::close);
}

TEST_F(Capture, IsReadBack) {
  record();
  m_file += m_encoder.ended(Direction::out, false, 13s);
  const auto connections = read();
  ASSERT_EQ(connections.size(), 1U);
  EXPECT_EQ(connections[0].opened, 10s);
  ASSERT_EQ(connections[0].traffic.size(), 3U);
  EXPECT_EQ(connections[0].traffic[0].direction, Direction::in);
  EXPECT_EQ(connections[0].traffic[0].bytes, "request");
  EXPECT_LE(std::chrono::abs(connections[0].traffic[0].when - (10s + 5ns)), 1ns);
  EXPECT_EQ(connections[0].traffic[1].bytes, "ans");
  EXPECT_EQ(connections[0].traffic[2].direction, Direction::out);
  EXPECT_EQ(connections[0].traffic[2].when, 12s);
  EXPECT_EQ(connections[0].endedByIss, Ending::close);
  EXPECT_EQ(connections[0].ended, 13s);
}

TEST_F(Capture, TellsWhoEndedAConnectionAndHow) {
  record();
  m_file += m_encoder.ended(Direction::in, false, 13s);
  record();
  m_file += m_encoder.ended(Direction::out, true, 13s);
  record();
  const auto connections = read();
  ASSERT_EQ(connections.size(), 3U);
  EXPECT_EQ(connections[0].endedByIss, Ending::none);
  EXPECT_EQ(connections[1].endedByIss, Ending::reset);
  EXPECT_EQ(connections[2].endedByIss, Ending::none);
}

TEST_F(Capture, CutsWhatIsTooLongForAPacket) {
  std::string flood;
  for (int i = 0; i < 100'000; ++i) flood += static_cast<char>(i % 251);
  m_file += m_encoder.connected(1s);
  m_file += m_encoder.data(Direction::out, asBytes(flood), 2s);
  const auto connections = read();
  ASSERT_EQ(connections.at(0).traffic.size(), 2U);
  EXPECT_EQ(connections[0].traffic[0].bytes + connections[0].traffic[1].bytes, flood);
}

TEST_F(Capture, MayRepeatPackets) {
  m_file += m_encoder.connected(1s);
  const std::string data = m_encoder.data(Direction::out, asBytes("once"), 2s);
  m_file += data + data;
  ASSERT_EQ(read().at(0).traffic.size(), 1U);
}

TEST_F(Capture, MayHoldOtherBlocks) {
  const char statistics[] = "\x05\0\0\0\x10\0\0\0\x01\x02\x03\x04\x10\0\0";
  m_file.append(statistics, sizeof statistics);
  record();
  EXPECT_EQ(read().size(), 1U);
}

TEST_F(Capture, WithAPacketMissingIsRefused) {
  m_file += m_encoder.connected(1s);
  m_encoder.data(Direction::out, asBytes("lost"), 2s);
  m_file += m_encoder.data(Direction::out, asBytes("here"), 2s);
  EXPECT_THAT(problem(), StartsWith("block 6 at byte "));
  EXPECT_THAT(problem(), EndsWith(": bytes in front of this packet are not in the capture"));
}

TEST_F(Capture, CutAnywhereIsRefused) {
  const size_t start = m_file.size();
  record();
  const std::string whole = m_file;
  std::vector<CapturedConnection> connections;
  for (size_t length = 1; length < whole.size(); ++length) {
    const sim::Problem result = sim::readCapture(std::string_view(whole).substr(0, length), connections);
    if (result) {
      EXPECT_THAT(*result, ::testing::AnyOf(StartsWith("block "), HasSubstr("no connection begins")));
    } else {
      EXPECT_GT(length, start);
    }
  }
  m_file = whole.substr(0, whole.size() - 1);
  EXPECT_THAT(problem(), EndsWith("the file ends inside the block"));
}

TEST_F(Capture, WithWrongBytesNeverBreaksTheReader) {
  record();
  const std::string whole = m_file;
  std::vector<CapturedConnection> connections;
  for (size_t at = 0; at < whole.size(); ++at) {
    for (const char wrong : {'\0', '\x7f', '\xff'}) {
      m_file = whole;
      m_file[at] = wrong;
      sim::readCapture(m_file, connections);
      for (const CapturedConnection& connection : connections) EXPECT_LE(connection.traffic.size(), 3U);
    }
  }
}

TEST(CaptureFile, ThatCannotBeWrittenKeepsTheSimulatorFromStarting) {
  for (const auto& [path, reason] : {std::pair{"/dev/full", "No space left on device"},
                                     std::pair{"/nonexistent/x", "No such file or directory"}}) {
    Program simulator({ISS_SIM, "--port", "0", "--record", path});
    EXPECT_EQ(simulator.errors(), std::string("iss-sim: ") + path + ": " + reason + "\n");
    EXPECT_EQ(simulator.wait(), 2);
  }
}

TEST_F(Capture, OfNothingIsRefused) {
  EXPECT_EQ(problem(), "no connection begins in the capture");
  m_file = "startup init\n";
  EXPECT_EQ(problem(), "block 1 at byte 0: not a pcapng file");
  m_file.clear();
  EXPECT_EQ(problem(), "no connection begins in the capture");
}

}  // namespace
