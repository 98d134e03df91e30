// The words of one directive, taken from the left. One owner.
#pragma once

#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "DirectiveRecord.h"
#include "OpsDecoder.h"

namespace sim {

/// A word as a problem quotes it.
inline std::string shown(const std::string& word) {
  return quoted(std::string_view(word).substr(0, 60));
}

class WordReader {
 public:
  explicit WordReader(std::vector<std::string> words) : m_words(std::move(words)) {}

  bool atEnd() const { return m_at == m_words.size(); }

  /// Takes the next word if it is this one.
  bool next(std::string_view word) {
    if (atEnd() || m_words[m_at] != word) return false;
    ++m_at;
    return true;
  }

  /// The next word; empty at the end.
  std::string take() { return atEnd() ? std::string() : m_words[m_at++]; }

  /// A problem when words are left.
  Problem end() const {
    if (atEnd()) return std::nullopt;
    return "unexpected " + shown(m_words[m_at]);
  }

  /// The next word as what it must be; `of` is the word in front of it.
  Problem time(std::string_view of, std::chrono::milliseconds& value) {
    if (!atEnd() && parseTime(m_words[m_at], value)) return taken();
    return needs(of, "a time with its unit (250ms, 2s, 5m), one day at most");
  }
  Problem number(std::string_view of, uint32_t least, uint32_t most, uint32_t& value) {
    if (!atEnd() && parseNumber(m_words[m_at], most, value) && value >= least) return taken();
    return needs(of, "a number from " + std::to_string(least) + " to " + std::to_string(most));
  }
  Problem type(std::string_view of, uint32_t& value) {
    if (!atEnd() && parseType(m_words[m_at], value)) return taken();
    return needs(of, "a message type, by name or number");
  }
  Problem chance(std::string_view of, uint32_t& millionths) {
    if (!atEnd() && parseChance(m_words[m_at], millionths)) return taken();
    return needs(of, "a percentage (25%, 0.5%)");
  }
  /// A type and the fields behind it, to the line's end.
  Problem record(std::string_view of, RecordTemplate& value) {
    if (Problem problem = type(of, value.type)) return problem;
    return fields(value.type, value.changes);
  }
  Problem fields(uint32_t type, RecordChanges& changes) {
    while (!atEnd()) {
      if (Problem problem = parseField(type, take(), changes)) return problem;
    }
    return std::nullopt;
  }

 private:
  Problem taken() {
    ++m_at;
    return std::nullopt;
  }
  Problem needs(std::string_view of, const std::string& what) const {
    return std::string(of) + " needs " + what + (atEnd() ? "" : ", not " + shown(m_words[m_at]));
  }

  std::vector<std::string> m_words;
  size_t m_at = 0;
};

}  // namespace sim
