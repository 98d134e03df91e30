// How tests write records: what a test says is there, and what it cannot mean is a failure.
#include "support/Record.h"

#include <gtest/gtest-spi.h>

namespace {

/// The bytes of a zero record, but for these.
std::string bytesAt(std::initializer_list<std::pair<size_t, std::string>> pieces) {
  std::string record(6924, '\0');
  for (const auto& [offset, bytes] : pieces) record.replace(offset, bytes.size(), bytes);
  return record;
}

TEST(Record, HasEachNumberInItsField) {
  EXPECT_EQ(recordBytes({ofType(LLDP_TLV_INFO),
                         {"chassisId", 0x01020304},
                         {"mgmtIp", 0xC0A80164},
                         {"slotId", 0x0506},
                         {"actionCode", 3}}),
            bytesAt({{0, "\x19"}, {4, "\x04\x03\x02\x01\x64\x01\xA8\xC0\x06\x05"}, {236, "\x03"}}));
  EXPECT_EQ(recordBytes({ofType(CPU_THRESHOLD), {"pid", 0x01020304}}),
            bytesAt({{0, "\x12"}, {6912, "\x01\x02\x03\x04"}}));
}

TEST(Record, HasEachTextInItsField) {
  EXPECT_EQ(recordBytes({ofType(RUN_DEFAULT_SCRIPT_COMMAND),
                         {"inputFile", std::string(24, 'i')},
                         {"outputFile", "o"},
                         {"errorString", "No Error\r\n"}}),
            bytesAt({{0, "\x08"}, {4, std::string(24, 'i') + "o"}, {6412, "No Error\r\n"}}));
}

TEST(Record, HasEachFilterEntryInItsPlace) {
  EXPECT_EQ(recordBytes({ofType(INTERESTED_PACKET_IND),
                         {"entries", Matches{{1, hex("0180c2"), hex("ffff")}, {}, {3, words({7, 9})}}}}),
            bytesAt({{0, "\x0A"},
                     {4, "\x01"},
                     {8, "\x01\x80\xC2"},
                     {16, "\xFF\xFF"},
                     {44, "\x03"},
                     {48, "\x07"},
                     {52, "\x09"}}));
}

TEST(Record, HasWhatIsSaidLast) {
  EXPECT_EQ(recordBytes({ofType(FLUSH_CMD), {"vpn", 0x01020304}, {"vpn", 5}, ofType(SYNCE_CMD), {"slot", 6}}),
            bytesAt({{0, "\x0E"}, {4, "\x05"}, {8, "\x06"}}));
}

TEST(Record, HasFieldsOfAnotherTypeWhereThatIsSaid) {
  EXPECT_EQ(recordBytes({ofType(FLUSH_CMD), {"vpn", 7}, fieldOf(INTERESTED_PACKET_IND, {"fpId0", 8})}),
            bytesAt({{0, "\x10"}, {4, "\x07"}, {220, "\x08"}}));
}

TEST(Record, HasNoFieldThatItsTypeLacks) {
  const std::vector<Field> misspelt{ofType(FLUSH_CMD), {"vpm", 1}};
  EXPECT_NONFATAL_FAILURE(recordBytes(misspelt), "FLUSH_CMD has no field vpm");
  const std::vector<Field> ofAnother{ofType(FLUSH_CMD), {"fpId0", 1}};
  EXPECT_NONFATAL_FAILURE(recordOf(ofAnother), "FLUSH_CMD has no field fpId0");
  const std::vector<Field> withoutType{{"vpn", 1}};
  EXPECT_NONFATAL_FAILURE(hasExactly(OtnIpcMsg{}, withoutType), "InvalidMsgType has no field vpn");
  const std::vector<Field> lent{ofType(FLUSH_CMD), fieldOf(SYNCE_CMD, {"vpn", 1})};
  EXPECT_NONFATAL_FAILURE(recordBytes(lent), "SYNCE_CMD has no field vpn");
}

TEST(Record, HasNothingThatDoesNotFit) {
  const std::vector<Field> number{ofType(LLDP_TLV_INFO), {"slotId", 0x10000}};
  EXPECT_NONFATAL_FAILURE(recordBytes(number), "65536 does not fit in slotId");
  const std::vector<Field> text{ofType(RUN_DEFAULT_SCRIPT_COMMAND), {"inputFile", std::string(25, 'i')}};
  EXPECT_NONFATAL_FAILURE(recordBytes(text), "does not fit in inputFile");
  const std::vector<Field> entries{ofType(INTERESTED_PACKET_IND), {"entries", Matches(11)}};
  EXPECT_NONFATAL_FAILURE(recordBytes(entries), "does not fit in entries");
  EXPECT_NONFATAL_FAILURE((Match{1, "123456789"}.bytes()), "does not fit in a filter entry");
}

TEST(Record, HasNoNumberInAFieldOfBytes) {
  const std::vector<Field> fields{ofType(INTERESTED_PACKET_IND), {"portList", 1}};
  EXPECT_NONFATAL_FAILURE(recordBytes(fields), "portList holds no number");
}

TEST(Record, HasNoBytesInAFieldButByItsName) {
  const std::vector<Field> first{ofType(FLUSH_CMD), octet(8, 1)};
  EXPECT_NONFATAL_FAILURE(recordBytes(first), "the bytes at offset 8 are of the field vp");
  const std::vector<Field> into{ofType(MSR_RELOAD_STATUS), {13, "\1\1"}};
  EXPECT_NONFATAL_FAILURE(recordBytes(into), "the bytes at offset 13 are of the field reloadStatus");
  const std::vector<Field> trailer{{6412, "No Error\r\n"}};
  EXPECT_NONFATAL_FAILURE(recordBytes(trailer), "the bytes at offset 6412 are of the field errorString");
}

TEST(Record, HasBytesWhereNoFieldIs) {
  EXPECT_EQ(recordBytes({ofType(MSR_RELOAD_STATUS), octet(13, 1), octet(15, 2)}),
            bytesAt({{0, "\1"}, {13, "\1"}, {15, "\2"}}));
  EXPECT_EQ(recordBytes({octet(lastPayloadByte, 0xA5), octet(lastByte, 0x5A)}),
            bytesAt({{6411, "\xA5"}, {6923, "\x5A"}}));
}

TEST(Record, IsToldByTheFieldInWhichItDiffers) {
  const OtnIpcMsg msg = recordOf({ofType(FLUSH_CMD), {"vpn", 7}, octet(lastByte, 9)});
  EXPECT_STREQ(hasExactly(msg, {ofType(FLUSH_CMD), {"vpn", 6}, octet(lastByte, 9)}).message(),
               "offset 4 in vpn holds 7 instead of 6");
  EXPECT_STREQ(hasExactly(msg, {ofType(FLUSH_CMD), {"vpn", 7}}).message(),
               "offset 6923 holds 9 instead of 0");
  EXPECT_TRUE(hasExactly(msg, {ofType(FLUSH_CMD), {"vpn", 7}, octet(lastByte, 9)}));
}

TEST(RecordBytes, AreReadFromTheirDigits) {
  EXPECT_EQ(hex("00ff7E"), std::string("\x00\xFF\x7E", 3));
  EXPECT_NONFATAL_FAILURE(hex("123"), "123");
  EXPECT_NONFATAL_FAILURE(hex("1g"), "1g");
}

}  // namespace
