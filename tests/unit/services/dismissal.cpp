// Workers that a test has left would serve the next test of the same program: in its namespaces, and instead
// of the thread whose creation that test looks at.
#include <gtest/gtest.h>

#include "services/pattern/Workers.h"

namespace {

class Dismissal : public ::testing::EmptyTestEventListener {
  void OnTestEnd(const ::testing::TestInfo&) override { dismissWorkers(); }
};

[[maybe_unused]] const bool installed = [] {
  ::testing::UnitTest::GetInstance()->listeners().Append(new Dismissal);
  return true;
}();

}  // namespace
