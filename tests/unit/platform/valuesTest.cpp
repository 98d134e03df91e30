#include "otnbus/values.h"

#include <gtest/gtest.h>

#include <functional>
#include <string>

#include "PrivateBus.h"

namespace {

using otnbus::ReadResult;

class Values : public testing::Test {
 protected:
  Values() { EXPECT_TRUE(m_bus.start()); }

  /// A message as it comes in, with what `fill` appends.
  otnbus::Message made(const std::function<void(sd_bus_message*)>& fill) {
    if (m_peer == nullptr) m_peer = std::make_unique<Peer>(m_bus);
    sd_bus_message* message = nullptr;
    sd_bus_message_new_signal(m_peer->bus(), &message, "/a", "b.c", "d");
    fill(message);
    EXPECT_GE(sd_bus_message_seal(message, 1, 0), 0);
    sd_bus_message_rewind(message, 1);
    return otnbus::Message(message);
  }

  PrivateBus m_bus;
  std::unique_ptr<Peer> m_peer;
};

TEST_F(Values, OfEveryTypeComeOutAsTheyWentIn) {
  const std::vector<OBvalue> values = {
      true, int32_t{-2}, uint32_t{3}, uint16_t{4}, std::string("five"), int64_t{-6}, uint64_t{1} << 63};
  const otnbus::Message message =
      made([&](sd_bus_message* m) { EXPECT_TRUE(otnbus::appendValues(m, values)); });
  std::vector<OBvalue> read;
  EXPECT_EQ(otnbus::readValues(message.get(), "biuqsxt", read), ReadResult::Read);
  EXPECT_EQ(read, values);
}

TEST_F(Values, OfAnotherSignatureAreNotRead) {
  const otnbus::Message message = made([](sd_bus_message* m) { sd_bus_message_append(m, "i", 1); });
  std::vector<OBvalue> read;
  EXPECT_EQ(otnbus::readValues(message.get(), "u", read), ReadResult::WrongSignature);
  EXPECT_TRUE(read.empty());
}

TEST_F(Values, OfATypeThatNoInterfaceHasAreNotRead) {
  std::vector<OBvalue> read;
  const otnbus::Message number = made([](sd_bus_message* m) { sd_bus_message_append(m, "d", 1.5); });
  EXPECT_EQ(otnbus::readValues(number.get(), "d", read), ReadResult::WrongSignature);
  const otnbus::Message pair = made([](sd_bus_message* m) { sd_bus_message_append(m, "(ii)", 1, 2); });
  EXPECT_EQ(otnbus::readValues(pair.get(), "(ii)", read), ReadResult::WrongSignature);
  EXPECT_TRUE(read.empty());
}

TEST_F(Values, HaveAMebibyteOfTextTogether) {
  const std::string half(otnbus::maxText / 2, 'x');
  for (const bool more : {false, true}) {
    const otnbus::Message message = made([&](sd_bus_message* m) {
      sd_bus_message_append(m, "ss", half.c_str(), (half + (more ? "x" : "")).c_str());
    });
    std::vector<OBvalue> read;
    EXPECT_EQ(otnbus::readValues(message.get(), "ss", read),
              more ? ReadResult::TooMuchText : ReadResult::Read);
  }
}

TEST_F(Values, CannotBeAppendedToAMessageThatIsClosed) {
  const otnbus::Message message = made([](sd_bus_message*) {});
  const OBvalue value = 1U;
  EXPECT_FALSE(otnbus::appendValues(message.get(), {&value, 1}));
}

TEST_F(Values, AreSizedWithThePathAndTextOfEveryKind) {
  const otnbus::Message message =
      made([](sd_bus_message* m) { sd_bus_message_append(m, "iogs", 1, "/path", "ai", "text"); });
  const size_t size = 4 * 8 + strlen("/path") + strlen("ai") + strlen("text");
  EXPECT_EQ(otnbus::keptSize(message.get(), 1000), strlen("/a") + size);
  EXPECT_GT(otnbus::keptSize(message.get(), 10), 10U);
  EXPECT_EQ(otnbus::keptSize(message.get(), 1), strlen("/a")) << "the path alone is beyond the limit";
  int32_t first = 0;
  EXPECT_GT(sd_bus_message_read(message.get(), "i", &first), 0) << "the message is as new";
}

TEST_F(Values, AreSizedWhereThereIsNoPath) {
  const otnbus::Message call = made([](sd_bus_message*) {});
  sd_bus_message* bare = nullptr;
  ASSERT_GE(sd_bus_message_new(m_peer->bus(), &bare, SD_BUS_MESSAGE_METHOD_RETURN), 0);
  const otnbus::Message answer(bare);
  sd_bus_message_append(bare, "s", "text");
  ASSERT_GE(sd_bus_message_seal(bare, 1, 0), 0);
  EXPECT_EQ(otnbus::keptSize(bare, 1000), 8 + strlen("text"));
}

}  // namespace
