// The table of message types says what the simulator knows.
#include "OtnIpcFields.h"

#include <gtest/gtest.h>

#include "iss/IssModel.h"

namespace {

TEST(OtnIpcFields, LieInsideTheRecordAndInOrderOfTheirPlace) {
  for (uint32_t type = 0; type < OtnIpcMsgTypeCount; ++type) {
    size_t end = sizeof(uint32_t);
    for (const ops::FieldInfo& field : ops::fieldsOf(type)) {
      EXPECT_GE(field.offset, end) << msgTypeName(type) << " " << field.name;
      end = size_t{field.offset} + field.size;
    }
    EXPECT_LE(end, sizeof(OtnIpcMsg)) << msgTypeName(type);
  }
}

TEST(OtnIpcFields, TellWhichRequestsTheSimulatorKnows) {
  for (const ops::MessageInfo& message : ops::messages) {
    if (message.direction != ops::Direction::toIss) continue;
    sim::IssModel model;
    OtnIpcMsg request{};
    request.msgType = message.type;
    std::string notes;
    const OtnIpcMsg answer = model.answer(request, notes);
    EXPECT_NE(fieldText(answer.errorString), "Unsupported request\r\n") << msgTypeName(message.type);
  }
}

}  // namespace
