// Waits in tests: for a condition, with a deadline.
#pragma once

#include <chrono>
#include <thread>

/// Asks until `holds()` is true; false when it is not within `limit`, which no passing test reaches.
template <class Condition>
bool waitFor(Condition holds, std::chrono::milliseconds limit = std::chrono::seconds(60)) {
  const auto deadline = std::chrono::steady_clock::now() + limit;
  while (!holds()) {
    if (std::chrono::steady_clock::now() > deadline) return false;
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
  }
  return true;
}
