#include <cstring>

#include "message/MsgHandle.h"
#include "support/Record.h"
#include "support/RoomTest.h"

namespace {

TEST(ScriptMessage, HasExactlyItsBytes) {
  EXPECT_TRUE(hasExactly(scriptMessage("/tmp/SetVlanPort5_3", "/tmp/outscr.sh"),
                         {ofType(RUN_DEFAULT_SCRIPT_COMMAND),
                          {"inputFile", "/tmp/SetVlanPort5_3"},
                          {"outputFile", "/tmp/outscr.sh"}}));
}

TEST(ScriptMessage, TakesNamesAsTheyAre) {
  EXPECT_TRUE(
      hasExactly(scriptMessage("/tmp/%d%s", "%n"),
                 {ofType(RUN_DEFAULT_SCRIPT_COMMAND), {"inputFile", "/tmp/%d%s"}, {"outputFile", "%n"}}));
}

TEST(ScriptMessage, CutsALongName) {
  EXPECT_TRUE(hasExactly(scriptMessage("/tmp/SetVlanPort2147483647_19", "/tmp/outscr.sh"),
                         {ofType(RUN_DEFAULT_SCRIPT_COMMAND),
                          {"inputFile", "/tmp/SetVlanPort2147483"},
                          {"outputFile", "/tmp/outscr.sh"}}));
}

TEST(DefaultScriptCommand, HasExactlyItsBytes) {
  OtnIpcMsg msg;
  memset(&msg, 0xFF, sizeof msg);
  EXPECT_TRUE(CreateDefaultScriptPacket(msg));
  EXPECT_TRUE(hasExactly(msg, {ofType(RUN_DEFAULT_SCRIPT_COMMAND),
                               {"inputFile", "/etc/iss/bh_default.txt"},
                               {"outputFile", "outscr.sh"}}));
  EXPECT_TRUE(IsDefaultScriptPacket(msg));
}

}  // namespace
