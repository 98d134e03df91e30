#include "process/Relaxed.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <thread>

namespace {

TEST(RelaxedWord, StartsZeroAndIsSeenByOtherThreads) {
  Relaxed<int32_t> word;
  EXPECT_EQ(word, 0);
  std::thread writer([&word] { word = -5; });
  writer.join();
  EXPECT_EQ(word, -5);
}

}  // namespace
