#include "services/ports/PortMessages.h"

#include "services/ports/mappingFields.h"
#include "support/Record.h"

namespace {

constexpr uint8_t boardMac[6] = {0x00, 0x1B, 0x2C, 0x3D, 0x4E, 0xFF};

std::vector<Field> mapping(uint32_t acPort, uint32_t tunnelId, uint32_t vpnId, uint32_t acId, uint32_t pwId,
                           uint32_t flag) {
  return mappingFields("001b2c3d4eff", 5, acPort, tunnelId, vpnId, acId, pwId, flag);
}

TEST(MapMessage, HasExactlyItsBytes) {
  EXPECT_TRUE(hasExactly(mapMessage({5, 4005, 77, false, boardMac}), mapping(24, 1, 1, 1, 1, 1)));
  EXPECT_TRUE(hasExactly(mapMessage({5, 4005, 77, true, boardMac}), mapping(0xFFFFFFFF, 1, 1, 1, 1, 1)));
}

TEST(UnmapMessage, HasExactlyItsBytes) {
  const DcnTunnelEntry ids{100, 101, 102, 103};
  EXPECT_TRUE(
      hasExactly(unmapMessage({5, 4005, 77, false, boardMac}, ids), mapping(24, 100, 101, 103, 102, 2)));
  EXPECT_TRUE(
      hasExactly(unmapMessage({5, 4005, 77, true, boardMac}, {}), mapping(0xFFFFFFFF, 0, 0, 0, 0, 2)));
}

TEST(InterfaceMessage, HasExactlyItsBytes) {
  EXPECT_TRUE(hasExactly(interfaceMessage(3, 1000, 6, 1), {ofType(IFC_INSERT_DELETE_IND),
                                                           {"interfaceNum", 3},
                                                           {"interfaceSpeed", 1000},
                                                           {"interfaceType", 6},
                                                           {"interfaceCount", 1},
                                                           {"statusFlag", 1}}));
  EXPECT_TRUE(
      hasExactly(interfaceMessage(0xFFFFFFFE, 0xFFFFFFFF, 0x80000000, 2), {ofType(IFC_INSERT_DELETE_IND),
                                                                           {"interfaceNum", 0xFFFFFFFE},
                                                                           {"interfaceSpeed", 0xFFFFFFFF},
                                                                           {"interfaceType", 0x80000000},
                                                                           {"interfaceCount", 1},
                                                                           {"statusFlag", 2}}));
}

}  // namespace
