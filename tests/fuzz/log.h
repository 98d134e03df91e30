// The log of the code under test: every line is written, as it would be, and then only counted.
#pragma once

#include <cstddef>

namespace fuzzLog {

struct Counts {
  size_t lines;
  size_t warnings;  ///< of them: WARNING and worse
  size_t longest;   ///< characters
};
inline Counts counts;

/// Begins anew, with a trace object of this level.
void begin(int level);

}  // namespace fuzzLog
