// The log of the emulated monitor device: one line a request, "seconds.micros op text-or-value", appended to
// the file that CAM_SIM_LOG names; without it nothing is written. Any thread; keeps no descriptor open.
#pragma once

#include <cstddef>

namespace camsim {

/// Writes one line, the text escaped. errno is left alone.
void logText(const char* op, const char* text, size_t length);
void logNumber(const char* op, unsigned long number);

}  // namespace camsim
