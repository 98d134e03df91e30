// The emulated monitor device: its open descriptors, the activity registered on each, and a watch thread
// that notices activities whose kicks stopped. Any thread.
//
// A descriptor of the device is a real one (an anonymous file), so that it can be polled, duplicated and
// inherited; requests through a duplicate reach the same activity. The watch thread starts with the first
// time-out that is set and takes no signals.
#pragma once

namespace camsim {

inline constexpr const char* devicePath = "/dev/K7V_CAM";

inline constexpr unsigned long registerRequest = 0x4004D101;
inline constexpr unsigned long timeoutRequest = 0x4004D12D;
inline constexpr unsigned long kickRequest = 0xD167;
inline constexpr unsigned long unregisterRequest = 0xD134;
inline constexpr unsigned long reportRequest = 0x4004D17C;

/// A new descriptor, or -1 and errno. Of the flags only O_CLOEXEC counts.
int openDevice(int flags);

/// Cheap for every other descriptor: true when fd is one that openDevice gave to this process.
bool isDevice(int fd);

/// One request; true when fd is the device's, with the call's result.
bool deviceRequest(int fd, unsigned long request, void* argument, int& result);

/// To be called before fd is closed.
void closingDevice(int fd);

}  // namespace camsim
