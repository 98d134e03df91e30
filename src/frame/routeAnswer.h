// Routing of OPS's answers: each belongs to the slot at the ring's read index. Main thread.
#pragma once

#include "OtnIpcMsg.h"
#include "link/MsgArray.h"

class SrvDbg;

/// Handles the answer by the slot's source, gives the bus reply after the request's last answer, and consumes
/// the slot. False when the slot has no source: nothing was done, and it stays.
bool routeAnswer(const OtnIpcMsg& answer, SrvDbg& debugSocket) REQUIRES(mutex);
