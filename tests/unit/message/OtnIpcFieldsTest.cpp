// The table of message types says what the daemon does.
#include "OtnIpcFields.h"

#include <gtest/gtest.h>

#include "message/MsgHandle.h"

namespace {

TEST(OtnIpcFields, TellWhichTypesAnswerARequest) {
  for (const ops::MessageInfo& message : ops::messages) {
    OtnIpcMsg msg{};
    msg.msgType = message.type;
    EXPECT_EQ(message.isAnswer, IsReplyPacket(msg)) << msgTypeName(message.type);
  }
}

TEST(OtnIpcFields, TellWhatEachTypeThatIsUsedIsFor) {
  for (const ops::MessageInfo& message : ops::messages) {
    if (message.direction == ops::Direction::unused) continue;
    EXPECT_STRNE(message.partner, "") << msgTypeName(message.type);
    EXPECT_STRNE(message.meaning, "") << msgTypeName(message.type);
    for (const ops::FieldInfo& field : message.fields)
      EXPECT_STRNE(field.meaning, "") << msgTypeName(message.type) << ' ' << field.name;
  }
}

}  // namespace
