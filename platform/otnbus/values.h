// OBvalues in and out of D-Bus messages, for the thread that owns the bus.
#pragma once

#include <systemd/sd-bus.h>

#include <memory>
#include <vector>

#include "OBmessage.h"

namespace otnbus {

struct MessageUnref {
  void operator()(sd_bus_message* message) const { sd_bus_message_unref(message); }
};
using Message = std::unique_ptr<sd_bus_message, MessageUnref>;

/// Reads all arguments; false, whatever was read, unless the message's
/// signature is this one.
bool readValues(sd_bus_message* message, const char* signature, std::vector<OBvalue>& values);
/// False when the message cannot carry a value.
bool appendValues(sd_bus_message* message, const std::vector<OBvalue>& values);
/// Bytes of all text values.
size_t textSize(const std::vector<OBvalue>& values);

}  // namespace otnbus
