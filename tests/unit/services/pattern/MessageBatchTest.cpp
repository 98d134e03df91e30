#include "services/pattern/MessageBatch.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <cstring>

namespace {

TEST(AMessageBatch, BuildsEachMessageWhereItStays) {
  MessageBatch<2> batch;
  for (int32_t i = 0; i < 2; ++i) {
    const OtnIpcMsg* built = nullptr;
    batch.add([&built] {
      OtnIpcMsg msg{};
      msg.msgType = FLUSH_CMD;
      built = &msg;
      return msg;
    });
    EXPECT_EQ(built, &batch.messages[i]);
    EXPECT_EQ(batch.messages[i].msgType, FLUSH_CMD);
    EXPECT_EQ(batch.count, i + 1);
  }
  EXPECT_FALSE(batch.refused);
}

TEST(AMessageBatch, LeavesTheMemoryOfOtherMessagesAlone) {
  alignas(MessageBatch<2>) unsigned char memory[sizeof(MessageBatch<2>)];
  memset(memory, 0xA5, sizeof memory);
  auto* const batch = new (memory) MessageBatch<2>;
  EXPECT_EQ(batch->count, 0);
  batch->add([] { return OtnIpcMsg{}; });
  constexpr size_t second = offsetof(MessageBatch<2>, messages) + sizeof(OtnIpcMsg);
  EXPECT_EQ(memory[second], 0xA5);
  EXPECT_EQ(memory[second + sizeof(OtnIpcMsg) - 1], 0xA5);
}

}  // namespace
