// Static probe points (USDT), provider `trelvik`: where perf, bpftrace and SystemTap can look at a running
// daemon. One that nobody looks at is a single instruction that does nothing. docs/probes.md lists them.
//
// A system without <sys/sdt.h> builds a daemon without probes.
#pragma once

// PROBE's arguments are numbers and pointers that are at hand anyway: they are evaluated in either case.
#if __has_include(<sys/sdt.h>)
#define SDT_USE_VARIADIC
#include <sys/sdt.h>
#define PROBE(name, ...) STAP_PROBEV(trelvik, name, __VA_ARGS__)
#else
template <class... Arguments>
constexpr void noProbe(const Arguments&...) {}
#define PROBE(name, ...) noProbe(__VA_ARGS__)
#endif
