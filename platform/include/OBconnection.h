// A stub's end of the bus: what the component calls when a message for it is dispatched.
#pragma once

#include "TraceObject.h"

struct OBmessage;
struct peer_info_t;

class OBconnection {
 public:
  OBconnection() = default;
  virtual ~OBconnection() = default;
  OBconnection(const OBconnection&) = delete;
  OBconnection& operator=(const OBconnection&) = delete;

  /// Calls the service's method that the message names. Bus thread only.
  virtual void dispatch(OBmessage& message) = 0;

  virtual void connection_process_message(OBmessage&) {
    TRACE_TO(g_traceObject, ERROR, "OBconnection", 40, "connection_process_message",
             "Error, this function should never be called [%s]]",
             "virtual void OBconnection::connection_process_message(OBmessage&)");
  }
  virtual void process_message(OBmessage&) {
    TRACE_TO(g_traceObject, ERROR, "OBconnection", 44, "process_message",
             "Error, this function should never be called [%s]]",
             "virtual void OBconnection::process_message(OBmessage&)");
  }
  virtual void process_message(OBmessage&, peer_info_t&) {
    TRACE_TO(g_traceObject, ERROR, "OBconnection", 48, "process_message",
             "Error, this function should never be called; [%s]]",
             "virtual void OBconnection::process_message(OBmessage&, peer_info_t&)");
  }
};
