#include "iss/CliScript.h"

#include <unistd.h>

#include "base/TmpFile.h"
#include "base/Words.h"

namespace sim {
namespace {

void refuse(ScriptResult& result, size_t line, std::string_view command, CliRefusal refusal) {
  std::string text = "line " + std::to_string(line) + ": ";
  if (!command.empty()) text += quoted(command.substr(0, 80)) + ": ";
  text += refusal.text;
  result.output += "% " + text + '\n';
  result.refused = {line, std::move(refusal), std::move(text)};
}

}  // namespace

bool readScript(const std::string& path, std::string& content) {
  constexpr size_t limit = 65536;
  const int fd = openTmpFile(path);
  if (fd < 0) return false;
  bool good = true;
  content.clear();
  while (good) {
    char piece[4096];
    const ssize_t n = ::read(fd, piece, sizeof piece);
    if (n == 0) break;
    good = n > 0 && content.size() + static_cast<size_t>(n) <= limit;
    if (good) content.append(piece, static_cast<size_t>(n));
  }
  ::close(fd);
  return good;
}

ScriptResult runScript(std::string_view content, CliConfig& config) {
  ScriptResult result;
  CliInterpreter cli(config);
  size_t lineNumber = 0;
  while (!content.empty()) {
    ++lineNumber;
    const size_t end = content.find('\n');
    const std::string_view line = content.substr(0, end);
    result.output += cli.prompt();
    result.output += line;
    result.output += '\n';
    if (end == std::string_view::npos) {
      refuse(result, lineNumber, line, {CliReason::scriptForm, "no line end"});
      return result;
    }
    content.remove_prefix(end + 1);
    if (CliResult refusal = cli.run(line)) {
      refuse(result, lineNumber, line, *std::move(refusal));
      return result;
    }
  }
  if (lineNumber == 0) {
    refuse(result, 1, {}, {CliReason::scriptForm, "empty script"});
  } else if (cli.mode() != CliMode::exec) {
    refuse(result, lineNumber, {}, {CliReason::scriptForm, "script ends inside a mode"});
  }
  return result;
}

}  // namespace sim
