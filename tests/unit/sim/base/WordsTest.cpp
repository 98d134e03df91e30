#include "base/Words.h"

#include <gtest/gtest.h>

namespace {

using sim::quoted;

TEST(Quoted, EscapesWhatWouldBreakALine) {
  EXPECT_EQ(quoted("/tmp/x"), "/tmp/x");
  EXPECT_EQ(quoted(""), "\"\"");
  EXPECT_EQ(quoted("a b"), "\"a b\"");
  EXPECT_EQ(quoted("\n\r\t\"\\\x01\xFF"), "\"\\n\\r\\t\\\"\\\\\\x01\\xff\"");
}

}  // namespace
