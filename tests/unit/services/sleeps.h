// Sleep of the program under test: it can pass at once, and is counted. Linked with --wrap=nanosleep.
#pragma once

#include <functional>

/// While it exists no sleep takes time: `passed` is called in its place, with the milliseconds slept until
/// then.
class PassingSleeps {
 public:
  explicit PassingSleeps(std::function<void(long)> passed);
  ~PassingSleeps();
  PassingSleeps(const PassingSleeps&) = delete;
  PassingSleeps& operator=(const PassingSleeps&) = delete;

  long total() const;  ///< ms
};
