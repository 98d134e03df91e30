// The words of one directive, taken from the left. One owner.
#pragma once

#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "base/Words.h"
#include "record/RecordTemplate.h"

namespace sim {

/// A word as a problem quotes it.
inline std::string shown(const std::string& word) {
  return quoted(std::string_view(word).substr(0, 60));
}

class WordReader {
 public:
  explicit WordReader(Words words) : m_words(std::move(words)) {}

  bool atEnd() const { return m_at == m_words.words.size(); }

  /// How many words are taken.
  size_t taken() const { return m_at; }

  /// The line from this word on.
  std::string_view from(size_t word) const { return m_words.from(word); }

  /// The word that was looked at last: a problem is there.
  size_t column() const {
    return m_lookedAt < m_words.columns.size() ? m_words.columns[m_lookedAt] : m_words.end;
  }
  void lookAt(size_t word) { m_lookedAt = word; }

  /// Takes the next word if it is this one.
  bool next(std::string_view word) {
    m_lookedAt = m_at;
    if (atEnd() || m_words.words[m_at] != word) return false;
    ++m_at;
    return true;
  }

  /// The next word; empty at the end.
  std::string take() {
    m_lookedAt = m_at;
    return atEnd() ? std::string() : m_words.words[m_at++];
  }

  /// A problem when words are left.
  Problem end() {
    m_lookedAt = m_at;
    if (atEnd()) return std::nullopt;
    return "unexpected " + shown(m_words.words[m_at]);
  }

  /// The next word as what it must be; `of` is the word in front of it.
  Problem time(std::string_view of, std::chrono::milliseconds& value) {
    return read(of, "a time with its unit (250ms, 2s, 5m), one day at most",
                [&](const std::string& word) { return parseTime(word, value); });
  }
  Problem number(std::string_view of, uint32_t least, uint32_t most, uint32_t& value) {
    return read(of, "a number from " + std::to_string(least) + " to " + std::to_string(most),
                [&](const std::string& word) { return parseNumber(word, most, value) && value >= least; });
  }
  Problem ports(std::string_view of, uint32_t most, uint32_t& bitmap) {
    return read(of, "ports from 1 to " + std::to_string(most) + " (5 or 1-4,7)",
                [&](const std::string& word) { return parsePorts(word, most, bitmap); });
  }
  Problem type(std::string_view of, uint32_t& value) {
    return read(of, "a message type, by name or number",
                [&](const std::string& word) { return parseType(word, value); });
  }
  Problem chance(std::string_view of, uint32_t& millionths) {
    return read(of, "a percentage (25%, 0.5%)",
                [&](const std::string& word) { return parseChance(word, millionths); });
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
  template <typename Parse>
  Problem read(std::string_view of, const std::string& what, Parse parse) {
    m_lookedAt = m_at;
    if (atEnd()) return std::string(of) + " needs " + what;
    if (!parse(m_words.words[m_at])) {
      return std::string(of) + " needs " + what + ", not " + shown(m_words.words[m_at]);
    }
    ++m_at;
    return std::nullopt;
  }

  Words m_words;
  size_t m_at = 0;
  size_t m_lookedAt = 0;
};

}  // namespace sim
