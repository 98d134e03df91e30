// Read by cppcheck before every source. It does not know __VA_OPT__: a log statement is shown to it as the
// plain call of syslog() that it is, so that its text and its values are compared.
#pragma once

#include "../../platform/include/TraceObject.h"

#undef LOG
#define LOG(LEVEL, place, line, ...) ::syslog(::trace::priority(::trace::LEVEL), __VA_ARGS__)
