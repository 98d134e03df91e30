// The simulator's output: lines with the time of day in front, each in one write, without delay.
// One thread.
#pragma once

#include <string>
#include <string_view>

namespace sim {

/// "HH:MM:SS.mmm", local time.
std::string timeOfDay();

class LineOutput {
 public:
  /// The descriptor stays the caller's.
  explicit LineOutput(int fd) : m_fd(fd) {}

  /// "HH:MM:SS.mmm TEXT\n". A descriptor that can no longer be written to ends the output, not the simulator.
  void line(std::string_view text);

 private:
  int m_fd;
  bool m_open = true;
};

}  // namespace sim
