#include <cstring>

#include "message/MsgHandle.h"
#include "support/Record.h"
#include "support/RoomTest.h"

namespace {

TEST(ScriptMessage, HasExactlyItsBytes) {
  EXPECT_TRUE(hasExactly(scriptMessage("/tmp/SetVlanPort5_3", "/tmp/outscr.sh"),
                         {word(0, 8), {4, "/tmp/SetVlanPort5_3"}, {28, "/tmp/outscr.sh"}}));
}

TEST(ScriptMessage, CutsALongName) {
  EXPECT_TRUE(hasExactly(scriptMessage("/tmp/SetVlanPort2147483647_19", "/tmp/outscr.sh"),
                         {word(0, 8), {4, "/tmp/SetVlanPort2147483"}, {28, "/tmp/outscr.sh"}}));
}

TEST(DefaultScriptCommand, HasExactlyItsBytes) {
  OtnIpcMsg msg;
  memset(&msg, 0xFF, sizeof msg);
  EXPECT_TRUE(CreateDefaultScriptPacket(msg));
  EXPECT_TRUE(hasExactly(msg, {word(0, 8), {4, "/etc/iss/bh_default.txt"}, {28, "outscr.sh"}}));
  EXPECT_TRUE(IsDefaultScriptPacket(msg));
}

}  // namespace
