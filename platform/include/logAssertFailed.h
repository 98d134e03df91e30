// Reports a failed assertion with one ERROR line, source `board`, and returns. Any thread may call.
#pragma once

void logAssertFailed(const char* expression, const char* file, const char* function);
