// Reads an ISS command script and checks it the way ISS's command line would: each line a known command,
// legal in the mode that the lines before it led to. Stateless; any thread.
#pragma once

#include <string>
#include <string_view>

namespace sim {

struct ScriptResult {
  std::string error;   ///< OPS's error text, empty = the script is good
  std::string output;  ///< what the run prints: every command behind its prompt, then the error if any
};

/// OPS's text for a script that cannot be opened.
inline constexpr std::string_view scriptOpenError = "Unable to open script file\r\n";

/// True and the content when path names a readable regular file of at most 64 KiB.
bool readScript(const std::string& path, std::string& content);

/// Checks a script's text. VLAN numbers are taken as given, ports must exist.
ScriptResult checkScript(std::string_view content);

}  // namespace sim
