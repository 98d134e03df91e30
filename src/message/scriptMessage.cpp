#include <cstdio>

#include "message/MsgHandle.h"

OtnIpcMsg scriptMessage(const char* inputFile, const char* outputFile) {
  OtnIpcMsg msg{};
  msg.msgType = RUN_DEFAULT_SCRIPT_COMMAND;
  ops::RunScript& script = msg.payload.script;
  snprintf(script.inputFile, sizeof script.inputFile, "%s", inputFile);
  snprintf(script.outputFile, sizeof script.outputFile, "%s", outputFile);
  return msg;
}

bool CreateDefaultScriptPacket(OtnIpcMsg& msg) {
  msg = scriptMessage(defaultScript.data(), "outscr.sh");
  return true;
}
