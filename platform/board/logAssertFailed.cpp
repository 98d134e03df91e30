#include "logAssertFailed.h"

#include "board/platformTrace.h"

namespace {

constexpr LogPlace atLogAssertFailed{"board", "logAssertFailed", &platformTrace};

}  // namespace

void logAssertFailed(const char* expression, const char* file, const char* function) {
  LOG(ERROR, atLogAssertFailed, HERE, "Assertion failed: %s, %s, %s", expression, file, function);
}
