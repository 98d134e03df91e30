// Registration with the board's critical activity monitor, the character device /dev/K7V_CAM.
//
// Main thread only. Without the device every operation is a no-op that returns false.
#pragma once

#include <cstdint>

/// The monitor acts on an activity that is not kicked for this long, ms.
inline constexpr unsigned long criticalActivityTimeout = 120000;

class CriticalActivity {
 public:
  CriticalActivity() = default;
  /// Closes the descriptor.
  virtual ~CriticalActivity();
  CriticalActivity(const CriticalActivity&) = delete;
  CriticalActivity& operator=(const CriticalActivity&) = delete;

  /// Opens the device and registers the activity.
  bool start(const char* name);
  bool registered() const { return fd >= 0; }
  bool setTimeout(unsigned long timeout);
  bool kick();
  /// Unregisters; the descriptor stays open.
  bool stop();

 private:
  int32_t fd = -1;
};

/// Reports a fatal condition to the monitor. True when the monitor took it.
bool reportCriticalEvent(const char* text);
