// OPS messages of the Smart SFP service. Pure functions but for their log lines; any thread.
#pragma once

#include <cstdint>
#include <string>

#include "OtnIpcMsg.h"
#include "TraceObject.h"

inline constexpr LogPlace smartSfpWorker{"SrvSmartSfp", "run_iss_SmartSfp_thread"};

/// The arguments of setSmartSfpParams, and the service's filter at the moment of the call.
struct SmartSfpArguments {
  std::string pdu;        ///< decimal bytes, each followed by one separator
  uint32_t enableFilter;  ///< non-zero = build the filter rule
  uint32_t action;        ///< only handed back
  uint32_t sendOutPDU;    ///< non-zero = send the PDU
  uint32_t pbmp;          ///< port bitmap
  uint32_t size;          ///< handed on, does not cut the PDU
  int32_t fpId;           ///< forwarding-entry id of the installed filter, 0 = none
};

/// Creates, changes or removes the filter, by its id and the ports.
OtnIpcMsg smartSfpRule(const SmartSfpArguments& arguments);
/// As many of the PDU's bytes as its field holds.
OtnIpcMsg smartSfpPdu(const SmartSfpArguments& arguments);
