// An ISS command script: read from its file and run, line by line, by the command line. Stateless; the
// configuration's thread.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

#include "iss/CliInterpreter.h"

namespace sim {

/// OPS's text for a script that cannot be opened.
inline constexpr std::string_view scriptOpenError = "Unable to open script file";

struct ScriptRefusal {
  size_t line;
  CliRefusal refusal;
  std::string text;  ///< for one line: line number, command, reason
};

struct ScriptResult {
  std::optional<ScriptRefusal> refused;  ///< the command the run ended at; what is before it is done
  std::string output;                    ///< every command behind its prompt, then why one is refused
};

/// True and the content when path names a file below /tmp of the simulator's own user or of root, of at most
/// 64 KiB.
bool readScript(const std::string& path, std::string& content);

ScriptResult runScript(std::string_view content, CliConfig& config);

}  // namespace sim
