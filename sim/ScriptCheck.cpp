#include "ScriptCheck.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <charconv>
#include <cstdint>
#include <span>
#include <vector>

#include "OpsDecoder.h"

namespace sim {
namespace {

enum class Mode : uint8_t { exec, config, vlan, port, vlanInterface };

constexpr const char* prompt(Mode mode) {
  switch (mode) {
    case Mode::exec:
      return "iss# ";
    case Mode::config:
      return "iss(config)# ";
    case Mode::vlan:
      return "iss(config-vlan)# ";
    case Mode::port:
    case Mode::vlanInterface:
      return "iss(config-if)# ";
  }
  return "";
}

using Words = std::span<const std::string_view>;

bool isNumber(std::string_view word) {
  uint32_t value = 0;
  const auto [end, code] = std::from_chars(word.data(), word.data() + word.size(), value);
  return code == std::errc{} && end == word.data() + word.size();
}

/// "gigabitethernet 0/1".."0/24" and "extreme-ethernet 0/1".."0/4".
bool isPort(std::string_view kind, std::string_view place) {
  const uint32_t last = kind == "gigabitethernet" ? 24 : kind == "extreme-ethernet" ? 4 : 0;
  if (!place.starts_with("0/")) return false;
  place.remove_prefix(2);
  uint32_t port = 0;
  const auto [end, code] = std::from_chars(place.data(), place.data() + place.size(), port);
  return code == std::errc{} && end == place.data() + place.size() && port >= 1 && port <= last;
}

/// "portType 0/n": two words.
bool isPort(Words words) {
  return words.size() == 2 && isPort(words[0], words[1]);
}

/// A MIB object's name and its index: letters and digits, then one or more ".number".
bool isMibName(std::string_view word) {
  const size_t dot = word.find('.');
  if (dot == 0 || dot == std::string_view::npos) return false;
  const auto letterOrDigit = [](char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9');
  };
  if (!std::ranges::all_of(word.substr(0, dot), letterOrDigit)) return false;
  for (std::string_view index = word.substr(dot + 1);;) {
    const size_t next = index.find('.');
    if (!isNumber(index.substr(0, next))) return false;
    if (next == std::string_view::npos) return true;
    index.remove_prefix(next + 1);
  }
}

/// Two-digit hex numbers with ":" between them, at least two.
bool isOctets(std::string_view word) {
  if (word.size() % 3 != 2 || word.size() < 5) return false;
  for (size_t i = 0; i < word.size(); ++i) {
    const char c = word[i];
    const bool hex = (c >= '0' && c <= '9') || (c >= 'a' && c <= 'f') || (c >= 'A' && c <= 'F');
    if (i % 3 == 2 ? c != ':' : !hex) return false;
  }
  return true;
}

bool isWords(Words words, std::initializer_list<std::string_view> expected) {
  return std::ranges::equal(words, expected);
}

/// The command takes these words, then one number.
bool isWithNumber(Words words, std::initializer_list<std::string_view> expected) {
  return words.size() == expected.size() + 1 && isWords(words.first(expected.size()), expected) &&
         isNumber(words.back());
}

/// True when the words are a command of this mode; it may change the mode.
bool runCommand(Words words, Mode& mode) {
  if (mode != Mode::exec && isWords(words, {"end"})) {
    mode = Mode::exec;
    return true;
  }
  switch (mode) {
    case Mode::exec:
      if (!isWords(words, {"configure", "terminal"})) return false;
      mode = Mode::config;
      return true;
    case Mode::config:
      if (isWithNumber(words, {"vlan"})) {
        mode = Mode::vlan;
        return true;
      }
      if (isWithNumber(words, {"interface", "vlan"})) {
        mode = Mode::vlanInterface;
        return true;
      }
      if (words.size() == 3 && words[0] == "interface" && isPort(words.subspan(1))) {
        mode = Mode::port;
        return true;
      }
      if (words.size() == 6 && isWords(words.first(3), {"snmpset", "mib", "name"}) && words[4] == "value") {
        return isMibName(words[3]) && (isNumber(words[5]) || isOctets(words[5]));
      }
      return isWithNumber(words, {"no", "vlan"}) || isWithNumber(words, {"no", "interface", "vlan"});
    case Mode::vlan:
      if (words.empty() || words[0] != "ports") return false;
      return isPort(words.subspan(1)) || (words.size() == 6 && isPort(words.subspan(1, 2)) &&
                                          words[3] == "untagged" && isPort(words.subspan(4)));
    case Mode::port:
      return isWords(words, {"shutdown"}) || isWords(words, {"no", "shutdown"}) ||
             isWithNumber(words, {"mtu"}) || isWithNumber(words, {"switchport", "pvid"});
    case Mode::vlanInterface:
      return isWords(words, {"shutdown"}) || isWords(words, {"no", "shutdown"}) ||
             isWords(words, {"no", "mpls", "ip"}) ||
             (words.size() == 4 && isWords(words.first(3), {"no", "ip", "unnumbered"}) && isOctets(words[3]));
  }
  return false;
}

std::vector<std::string_view> split(std::string_view line) {
  std::vector<std::string_view> words;
  for (size_t at = 0; at < line.size();) {
    const size_t end = std::min(line.find(' ', at), line.size());
    if (end > at) words.push_back(line.substr(at, end - at));
    at = end + 1;
  }
  return words;
}

void fail(ScriptResult& result, size_t lineNumber, const std::string& what) {
  result.error = "Script line " + std::to_string(lineNumber) + ": " + what + "\r\n";
  result.output += "% " + what + "\n";
}

}  // namespace

bool readScript(const std::string& path, std::string& content) {
  constexpr size_t limit = 65536;
  const int fd = ::open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
  if (fd < 0) return false;
  struct stat status;
  bool good = fstat(fd, &status) == 0 && S_ISREG(status.st_mode) && status.st_size <= off_t{limit};
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

ScriptResult checkScript(std::string_view content) {
  ScriptResult result;
  Mode mode = Mode::exec;
  size_t lineNumber = 0;
  while (!content.empty()) {
    ++lineNumber;
    const size_t end = content.find('\n');
    const std::string_view line = content.substr(0, end);
    result.output += prompt(mode);
    result.output.append(line);
    result.output += '\n';
    if (end == std::string_view::npos) {
      fail(result, lineNumber, "no line end");
      return result;
    }
    content.remove_prefix(end + 1);
    if (!runCommand(split(line), mode)) {
      fail(result, lineNumber, "invalid command " + quoted(line.substr(0, 80)));
      return result;
    }
  }
  if (lineNumber == 0) fail(result, 1, "empty script");
  if (mode != Mode::exec) fail(result, lineNumber, "script ends inside a mode");
  return result;
}

}  // namespace sim
