#include "base/Words.h"

#include <charconv>
#include <cstdio>

namespace sim {
namespace {

int hexDigit(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  return -1;
}

/// Takes what follows a backslash off the front of rest.
bool unescape(std::string_view& rest, std::string& word) {
  constexpr std::string_view letters = "rnt\\\"";
  constexpr std::string_view meanings = "\r\n\t\\\"";
  if (rest.empty()) return false;
  const size_t known = letters.find(rest[0]);
  if (known != std::string_view::npos) {
    word += meanings[known];
    rest.remove_prefix(1);
    return true;
  }
  std::string byte;
  if (rest[0] != 'x' || !parseHex(rest.substr(1, 2), byte) || byte.size() != 1) return false;
  word += byte;
  rest.remove_prefix(3);
  return true;
}

}  // namespace

Problem splitWords(std::string_view line, Words& result) {
  result = {};
  std::vector<std::string>& words = result.words;
  bool inWord = false;
  size_t quote = 0;  // the column of the one that is open
  std::string_view rest = line;
  const auto column = [&] { return line.size() - rest.size() + 1; };
  while (!rest.empty()) {
    const char c = rest[0];
    if (!inWord && c == '#') break;
    const size_t at = column();
    rest.remove_prefix(1);
    if (quote == 0 && (c == ' ' || c == '\t' || c == '\r')) {
      inWord = false;
      continue;
    }
    if (!inWord) {
      words.emplace_back();
      result.columns.push_back(at);
    }
    inWord = true;
    if (c == '"') {
      quote = quote == 0 ? at : 0;
    } else if (c != '\\' || quote == 0) {
      words.back() += c;
    } else if (!unescape(rest, words.back())) {
      result.end = at;
      return "unknown escape in a quoted text (known: \\r \\n \\t \\\\ \\\" \\xHH)";
    }
    result.end = column();
  }
  if (quote != 0) {
    result.end = quote;
    return "a quoted text does not end";
  }
  result.line = line.substr(0, result.end - 1);
  return std::nullopt;
}

std::string quoted(std::string_view text) {
  std::string out;
  bool plain = !text.empty();
  for (const char c : text) {
    switch (c) {
      case '\n':
        out += "\\n";
        break;
      case '\r':
        out += "\\r";
        break;
      case '\t':
        out += "\\t";
        break;
      case '"':
      case '\\':
        out += '\\';
        out += c;
        break;
      default:
        if (c >= ' ' && c <= '~') {
          plain = plain && c != ' ';
          out += c;
          continue;
        }
        char escape[5];
        snprintf(escape, sizeof escape, "\\x%02x", static_cast<uint8_t>(c));
        out += escape;
    }
    plain = false;
  }
  return plain ? out : '"' + out + '"';
}

bool parseNumber(std::string_view word, uint32_t most, uint32_t& value) {
  const bool hex = word.starts_with("0x");
  if (hex) word.remove_prefix(2);
  const auto [end, code] = std::from_chars(word.data(), word.data() + word.size(), value, hex ? 16 : 10);
  return code == std::errc{} && end == word.data() + word.size() && value <= most;
}

bool parseTime(std::string_view word, std::chrono::milliseconds& value) {
  constexpr uint32_t day = 24 * 3600 * 1000;
  uint32_t unit = 1;
  if (word.ends_with("ms")) {
    word.remove_suffix(2);
  } else if (word.ends_with('s') || word.ends_with('m')) {
    unit = word.back() == 's' ? 1000 : 60'000;
    word.remove_suffix(1);
  } else {
    return false;
  }
  uint32_t number = 0;
  if (!parseNumber(word, day / unit, number)) return false;
  value = std::chrono::milliseconds(number * unit);
  return true;
}

bool parseChance(std::string_view word, uint32_t& millionths) {
  if (!word.ends_with('%')) return false;
  word.remove_suffix(1);
  const size_t dot = word.find('.');
  uint32_t whole = 0;
  uint32_t part = 0;
  if (!parseNumber(word.substr(0, dot), 100, whole)) return false;
  if (dot != std::string_view::npos) {
    std::string digits(word.substr(dot + 1));
    if (digits.empty() || digits.size() > 4) return false;
    digits.resize(4, '0');
    if (!parseNumber(digits, 9999, part)) return false;
  }
  millionths = whole * 10'000 + part;
  return millionths <= 1'000'000;
}

bool parsePorts(std::string_view word, uint32_t most, uint32_t& bitmap) {
  bitmap = 0;
  while (true) {
    const size_t end = word.find(',');
    const std::string_view range = word.substr(0, end);
    const size_t dash = range.find('-');
    uint32_t first = 0;
    if (!parseNumber(range.substr(0, dash), most, first) || first == 0) return false;
    uint32_t last = first;
    if (dash != std::string_view::npos && !parseNumber(range.substr(dash + 1), most, last)) return false;
    if (last < first) return false;
    for (uint32_t port = first; port <= last; ++port) bitmap |= uint32_t{1} << (port - 1);
    if (end == std::string_view::npos) return true;
    word.remove_prefix(end + 1);
  }
}

bool parseHex(std::string_view word, std::string& bytes) {
  if (word.empty() || word.size() % 2 != 0) return false;
  bytes.clear();
  for (size_t i = 0; i < word.size(); i += 2) {
    const int high = hexDigit(word[i]);
    const int low = hexDigit(word[i + 1]);
    if (high < 0 || low < 0) return false;
    bytes += static_cast<char>(high * 16 + low);
  }
  return true;
}

}  // namespace sim
