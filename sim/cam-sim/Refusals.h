// Requests that the emulated monitor device refuses, to see what a program makes of it: the file that
// CAM_SIM_REFUSE names holds one a line, "op" for all of that kind or "op text" for those whose text begins
// so. It is read at each request, so that a test can change it. Without it nothing is refused. Any
// thread.
#pragma once

#include <cstddef>

namespace camsim {

/// True when the request is to fail; the log has its line then: "refused op text". errno is left alone.
bool refuses(const char* op, const char* text, size_t length);

}  // namespace camsim
