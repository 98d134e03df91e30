#include <algorithm>
#include <sstream>

#include "base/Words.h"
#include "ops/Records.h"

namespace ctl {
namespace {

constexpr size_t longestRepeat = 1U << 20;  ///< bytes that a "*" may stand for: 150 records

bool isText(const std::string& text) {
  return std::ranges::all_of(
      text, [](char c) { return (c >= ' ' && c <= '~') || c == '\n' || c == '\r' || c == '\t'; });
}

bool isOffset(const std::string& word, const std::string& next) {
  return word.ends_with(':') || (word.size() >= 6 && !next.empty() && next.size() <= 4);
}

/// One line of a dump: where it says that it stands, and what.
class DumpLine {
 public:
  explicit DumpLine(std::string line) {
    std::ranges::replace(line, ',', ' ');
    line.erase(std::min(line.find('|'), line.size()));
    const size_t colon = line.find(": ");
    // What xxd prints behind two blanks is the same as text.
    if (colon != std::string::npos) line.erase(std::min(line.find("  ", colon + 2), line.size()));
    std::istringstream words(line);
    for (std::string word; words >> word;) m_words.push_back(word);
    if (m_words.size() == 1 && m_words[0].size() < 6) return;
    const std::string next = m_words.size() > 1 ? m_words[1] : "";
    if (m_words.empty() || !isOffset(m_words[0], next)) return;
    if (m_words[0].ends_with(':')) m_words[0].pop_back();
    m_hasOffset = sim::parseNumber("0x" + m_words[0], UINT32_MAX, m_offset);
    m_words.erase(m_words.begin());
  }

  bool repeats() const { return m_words.size() == 1 && m_words[0] == "*"; }
  bool hasOffset() const { return m_hasOffset; }
  uint32_t offset() const { return m_offset; }

  /// The last line of a dump may hold nothing but the length.
  bool isLength(size_t size) const {
    uint32_t value = 0;
    return m_words.size() == 1 && m_words[0].size() >= 6 &&
           sim::parseNumber("0x" + m_words[0], UINT32_MAX, value) && value >= size;
  }
  uint32_t length() const {
    uint32_t value = 0;
    sim::parseNumber("0x" + m_words[0], UINT32_MAX, value);
    return value;
  }

  bool appendTo(std::string& bytes) const {
    for (const std::string& word : m_words) {
      std::string more;
      if (!sim::parseHex(word.starts_with("0x") ? word.substr(2) : word, more)) return false;
      bytes += more;
    }
    return true;
  }

 private:
  std::vector<std::string> m_words;
  bool m_hasOffset = false;
  uint32_t m_offset = 0;
};

/// Writes the last line of a dump again and again, up to the next offset.
bool repeatTo(size_t offset, const std::string& last, std::string& bytes) {
  if (last.empty() || offset > bytes.size() + longestRepeat) return false;
  while (bytes.size() < offset) bytes += last.substr(0, offset - bytes.size());
  return true;
}

}  // namespace

bool readHexDump(const std::string& text, std::string& bytes) {
  bytes.clear();
  if (!isText(text)) return false;
  std::istringstream lines(text);
  std::string last;
  bool repeats = false;
  for (std::string line; std::getline(lines, line);) {
    const DumpLine dump(line);
    if (dump.repeats()) {
      repeats = true;
      continue;
    }
    const bool ends = repeats && dump.isLength(bytes.size());
    if (repeats && (dump.hasOffset() || ends)) {
      if (!repeatTo(ends ? dump.length() : dump.offset(), last, bytes)) return false;
    }
    repeats = false;
    if (ends || (!bytes.empty() && dump.isLength(bytes.size()) && dump.length() == bytes.size())) continue;
    const size_t before = bytes.size();
    if (!dump.appendTo(bytes)) return false;
    if (bytes.size() > before) last = bytes.substr(before);
  }
  return !bytes.empty();
}

}  // namespace ctl
