// What a log statement costs that the trace level does not admit: prints nanoseconds as a line of JSON.
//
// The least of several turns, less the same loop without the statement. Exit status: 0.
#include <algorithm>
#include <chrono>
#include <cstdio>

#include "TraceObject.h"

namespace {

constexpr LogPlace place{"logcost", "main"};
constexpr int turns = 15;
constexpr int statements = 4'000'000;

/// Nanoseconds of one pass of the loop around `body`.
template <typename Body>
double perPass(Body body) {
  double least = 1e9;
  for (int turn = 0; turn < turns; ++turn) {
    const auto start = std::chrono::steady_clock::now();
    for (int i = 0; i < statements; ++i) {
      body(i);
      // Whatever the statement reads may have changed: as between two statements of the daemon.
      asm volatile("" ::: "memory");
    }
    const std::chrono::duration<double, std::nano> took = std::chrono::steady_clock::now() - start;
    least = std::min(least, took.count() / statements);
  }
  return least;
}

}  // namespace

int main() {
  constexpr int startLevel = 6;
  g_traceObject = new TraceObject("trelvik-logcost", startLevel);
  const double bare = perPass([](int) {});
  const double with = perPass([](int i) { LOG(DEBUG3, place, HERE, "pass %d", i); });
  printf("{\"ns\": %.3f}\n", std::max(0.0, with - bare));
  delete g_traceObject;
  g_traceObject = nullptr;
  return 0;
}
