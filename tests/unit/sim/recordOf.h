#pragma once

#include "OtnIpcMsg.h"

/// An empty record of a type.
inline OtnIpcMsg recordOf(uint32_t type) {
  OtnIpcMsg msg{};
  msg.msgType = type;
  return msg;
}
