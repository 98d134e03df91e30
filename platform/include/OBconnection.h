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
    LOG(ERROR, generatedConnectionProcessMessage, 40, "Error, this function should never be called [%s]]",
        "virtual void OBconnection::connection_process_message(OBmessage&)");
  }
  virtual void process_message(OBmessage&) {
    LOG(ERROR, generatedProcessMessage, 44, "Error, this function should never be called [%s]]",
        "virtual void OBconnection::process_message(OBmessage&)");
  }
  virtual void process_message(OBmessage&, peer_info_t&) {
    LOG(ERROR, generatedProcessMessage, 48, "Error, this function should never be called; [%s]]",
        "virtual void OBconnection::process_message(OBmessage&, peer_info_t&)");
  }

 private:
  static constexpr LogPlace generatedConnectionProcessMessage{"OBconnection", "connection_process_message"};
  static constexpr LogPlace generatedProcessMessage{"OBconnection", "process_message"};
};
