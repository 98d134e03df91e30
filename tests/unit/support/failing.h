// A call of the program under test that can be made to fail, and watched; what links it with --wrap asks
// error().
#pragma once

#include <functional>
#include <mutex>

namespace failing {

class Call {
 public:
  /// Who calls: the thread of the test, which is the program's first, or another.
  enum class By { Test, Others };

  /// After so many more calls by these, the next one returns the error, and does nothing.
  void fail(By who, int error, int after = 0) {
    whenCalled(
        who, [error] { return error; }, after);
  }
  /// The same with what `seen` returns; 0 lets the call go on. `seen` runs on the thread that calls.
  void whenCalled(By who, std::function<int()> seen, int after = 0);
  /// Whether the call that fails has been made.
  bool done();

  /// For the calls themselves: the error that this one returns, or 0.
  int error();

 private:
  std::mutex m_mutex;
  By m_who = By::Test;
  int m_left = 0;
  std::function<int()> m_seen;
};

}  // namespace failing
