// Handling of one message from OPS: its own reports are acted on, answers are routed. Main thread.
#pragma once

#include <string>

#include "OtnIpcMsg.h"
#include "link/MsgArray.h"

class boardUtils;
class CriticalActivity;
class SrvDbg;

/// What a message from OPS is to the receive loop, in the order in which the loop tests.
enum class OpsMessage {
  Ready,
  DefaultScriptDone,
  ReloadSucceeded,
  ReloadFailed,
  Alive,
  CpuThreshold,
  PortStatusChange,
  Answer,
  Unexpected,
};

/// Logs the reload flag of a reload message; changes nothing.
OpsMessage classify(const OtnIpcMsg& msg);

/// Asked only where it matters, because a board may have to look its name up. Boards with "CSM" in it get the
/// default script, open their ports, and report a lost connection.
bool isCsmBoard(const boardUtils& board);

/// Dumps and handles `msg`. `msg` may be rewritten into a request that
/// is sent at once.
void handleOpsMessage(OtnIpcMsg& msg, const boardUtils& board, CriticalActivity& opsActivity,
                      SrvDbg& debugSocket) REQUIRES(mutex);
