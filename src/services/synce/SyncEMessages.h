// OPS messages of the SyncE service. Pure functions; any thread.
#pragma once

#include <cstdint>

#include "OtnIpcMsg.h"

/// The arguments of setSyncEParam.
struct SyncEArguments {
  uint32_t enableFilter;  ///< 2 = install the ESMC trap rule
  uint32_t slot;          ///< of the clock source
  uint32_t enableClk;     ///< non-zero = set the clock
  uint32_t clksrc;
  uint32_t phymode;
  uint32_t sendPdu;  ///< non-zero = send the PDU words
  uint32_t pduWord1;
  uint32_t pduWord2;
  uint32_t pduWord3;
};

/// Makes ISS pass ESMC frames to the host.
OtnIpcMsg esmcTrapRule();
OtnIpcMsg syncECommand(const SyncEArguments& arguments);
OtnIpcMsg syncEPdu(const SyncEArguments& arguments);
