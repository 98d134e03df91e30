#include "services/ports/PortMessages.h"

#include "support/Record.h"

namespace {

constexpr uint8_t boardMac[6] = {0x00, 0x1B, 0x2C, 0x3D, 0x4E, 0xFF};

std::vector<Field> mappingFields(uint32_t acPort, uint32_t tunnelId, uint32_t vpnId, uint32_t acId,
                                 uint32_t pwId, uint32_t flag) {
  return {word(0, 11),
          {4, std::string("\x01\x00\x5e\x90\x00\x00", 6)},
          {10, std::string("\x00\x1B\x2C\x3D\x4E\xFF", 6)},
          word(16, 77),
          word(20, 4005),
          word(24, acPort),
          word(28, 5),
          word(32, 1000),
          word(36, 1000),
          word(40, 1500),
          word(44, 1500),
          word(48, tunnelId),
          word(56, vpnId),
          word(60, acId),
          word(64, pwId),
          word(6404, 1),
          octet(6408, flag)};
}

TEST(MapMessage, HasExactlyItsBytes) {
  EXPECT_TRUE(hasExactly(mapMessage({5, 4005, 77, false, boardMac}), mappingFields(24, 1, 1, 1, 1, 1)));
  EXPECT_TRUE(
      hasExactly(mapMessage({5, 4005, 77, true, boardMac}), mappingFields(0xFFFFFFFF, 1, 1, 1, 1, 1)));
}

TEST(UnmapMessage, HasExactlyItsBytes) {
  const DcnTunnelEntry ids{100, 101, 102, 103};
  EXPECT_TRUE(hasExactly(unmapMessage({5, 4005, 77, false, boardMac}, ids),
                         mappingFields(24, 100, 101, 103, 102, 2)));
  EXPECT_TRUE(
      hasExactly(unmapMessage({5, 4005, 77, true, boardMac}, {}), mappingFields(0xFFFFFFFF, 0, 0, 0, 0, 2)));
}

TEST(InterfaceMessage, HasExactlyItsBytes) {
  EXPECT_TRUE(hasExactly(interfaceMessage(3, 1000, 6, 1),
                         {word(0, 7), word(4, 3), word(8, 1000), word(12, 6), word(516, 1), octet(520, 1)}));
  EXPECT_TRUE(hasExactly(interfaceMessage(0xFFFFFFFE, 0xFFFFFFFF, 0x80000000, 2),
                         {word(0, 7), word(4, 0xFFFFFFFE), word(8, 0xFFFFFFFF), word(12, 0x80000000),
                          word(516, 1), octet(520, 2)}));
}

}  // namespace
