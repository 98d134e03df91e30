#include "frame/OBclientComponent.h"

#include <gtest/gtest.h>

namespace {

std::string placeFor(const OBcomponent::ExtraCfg* cfg) {
  return OBclientComponent("Trelvik", cfg).coreFilePath();
}

TEST(OBclientComponent, HasAPlaceForItsCoreFiles) {
  const OBcomponent::ExtraCfg unnamed{nullptr, false};
  const OBcomponent::ExtraCfg named{"second", false};
  EXPECT_EQ(placeFor(nullptr), "/tmp/obcore/obcore");
  EXPECT_EQ(placeFor(&unnamed), "/tmp/obcore/obcore");
  EXPECT_EQ(placeFor(&named), "/tmp/obcore/second/obcore");
}

TEST(OBclientComponent, HasTheNameOfItsComponent) {
  EXPECT_STREQ(OBclientComponent("Trelvik", nullptr).name(), "Trelvik");
}

}  // namespace
