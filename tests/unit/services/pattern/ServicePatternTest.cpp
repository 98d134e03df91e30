#include "services/pattern/ServicePattern.h"

#include <gmock/gmock.h>

#include "support/FakeBus.h"

namespace {

using ::testing::IsEmpty;

TEST(ReplyOwnerOf, ARequestGivesTheReplyAwayOnce) {
  FakeBus::clear();
  OBstubReply* const handle = FakeBus::call(9);
  {
    ReplyOwner owner(handle);
    EXPECT_EQ(owner.take(), handle);
    EXPECT_EQ(owner.take(), nullptr);
  }
  EXPECT_THAT(FakeBus::released(), IsEmpty());
  OBstubReply::release(handle);
}

}  // namespace
