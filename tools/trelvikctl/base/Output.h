// The client's one writer: what a command has to say goes to standard output as text or as JSON, and why it
// failed to standard error. One thread.
#pragma once

#include <string>
#include <string_view>

#include "base/Outcome.h"

namespace ctl {

class Output {
 public:
  void useJson(bool json) { m_json = json; }
  bool json() const { return m_json; }

  /// Whether a descriptor is a terminal that can move its cursor.
  static bool isTerminal(int fd);

  /// Whether standard output is one that wants colours.
  static bool wantsColour();

  /// One of many: in text this line, in JSON the node, at once.
  void event(std::string_view line, const Node& node);

  /// How things go on, for people only: on a terminal in one place, elsewhere as lines.
  void progress(const std::string& text);

  /// The command's end. Returns the exit status: what could not be written is a failure too.
  int finish(const Outcome& outcome);

 private:
  void endProgress();

  bool m_json = false;
  bool m_progress = false;  ///< a line on the terminal waits for its end
};

}  // namespace ctl
