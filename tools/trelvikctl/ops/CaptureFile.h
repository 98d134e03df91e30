// Captures as they come from the field, made into what the simulator's reader takes: tcpdump's own format,
// and connections that were there before the capture began. Pure; any thread.
#pragma once

#include <string>

namespace ctl {

/// True for a capture of pcapng or pcap.
bool isCapture(const std::string& file);

/// The same as pcapng. A connection to port 8000 whose beginning is missing gets one; its first message is
/// taken to begin with the first byte that was captured. What cannot be followed is left as it is.
std::string completed(const std::string& file);

}  // namespace ctl
