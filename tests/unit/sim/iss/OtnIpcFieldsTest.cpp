// The table of message types says what the simulator knows.
#include "OtnIpcFields.h"

#include <gtest/gtest.h>

#include "iss/IssModel.h"

namespace {

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
