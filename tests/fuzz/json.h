// Whether a text is JSON: by the grammar, and by nothing of the code under test.
#pragma once

#include <string_view>

class JsonReader {
 public:
  explicit JsonReader(std::string_view text) : m_rest(text) {}

  /// One value and nothing behind it.
  bool whole() {
    const bool good = value(0);
    blanks();
    return good && m_rest.empty();
  }

 private:
  bool next(char c) {
    if (!m_rest.starts_with(c)) return false;
    m_rest.remove_prefix(1);
    return true;
  }
  void blanks() {
    while (next(' ') || next('\n')) {
    }
  }

  bool value(int depth) {
    blanks();
    if (depth > 64) return false;
    if (next('{')) return members('}', true, depth);
    if (next('[')) return members(']', false, depth);
    if (m_rest.starts_with('"')) return text();
    for (const std::string_view word : {"true", "false", "null"}) {
      if (!m_rest.starts_with(word)) continue;
      m_rest.remove_prefix(word.size());
      return true;
    }
    return number();
  }

  bool members(char end, bool named, int depth) {
    blanks();
    if (next(end)) return true;
    for (;;) {
      blanks();
      if (named && !(text() && (blanks(), next(':')))) return false;
      if (!value(depth + 1)) return false;
      blanks();
      if (next(end)) return true;
      if (!next(',')) return false;
    }
  }

  bool text() {
    if (!next('"')) return false;
    while (!m_rest.empty()) {
      const char c = m_rest.front();
      m_rest.remove_prefix(1);
      if (c == '"') return true;
      if (c < ' ' || c > '~') return false;  // what the house writes is ASCII
      if (c == '\\' && !escape()) return false;
    }
    return false;
  }

  bool escape() {
    constexpr std::string_view plain = "\"\\/bfnrt";
    if (m_rest.empty()) return false;
    const char c = m_rest.front();
    m_rest.remove_prefix(1);
    if (c != 'u') return plain.find(c) != std::string_view::npos;
    const bool good = m_rest.size() >= 4 && m_rest.substr(0, 4).find_first_not_of("0123456789abcdefABCDEF") ==
                                                std::string_view::npos;
    m_rest.remove_prefix(good ? 4 : 0);
    return good;
  }

  size_t digits() {
    size_t count = 0;
    while (!m_rest.empty() && m_rest.front() >= '0' && m_rest.front() <= '9') {
      m_rest.remove_prefix(1);
      ++count;
    }
    return count;
  }
  bool number() {
    next('-');
    const bool zero = m_rest.starts_with('0');
    const size_t whole = digits();
    if (whole == 0 || (zero && whole > 1)) return false;
    return !next('.') || digits() > 0;
  }

  std::string_view m_rest;
};

inline bool isJson(std::string_view text) {
  return JsonReader(text).whole();
}
