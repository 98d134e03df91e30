// A text that others gave, as it may stand in a line of the log: bounded, on one line, printable. Any thread;
// allocates nothing.
#pragma once

#include <cstddef>
#include <cstring>
#include <string_view>

class Printable {
 public:
  static constexpr size_t limit = 120;  ///< characters of the text; a longer one ends in "..."

  /// Blanks and line ends at the end are left out; every byte that is not printable ASCII is shown as "?".
  explicit Printable(std::string_view text) {
    while (!text.empty() && isSpace(text.back())) text.remove_suffix(1);
    const std::string_view shown = text.substr(0, limit);
    char* end = m_text;
    for (const char c : shown) *end++ = c >= ' ' && c <= '~' ? c : '?';
    strcpy(end, shown.size() < text.size() ? "..." : "");
  }

  const char* c_str() const { return m_text; }

 private:
  static constexpr bool isSpace(char c) { return c == ' ' || (c >= '\t' && c <= '\r'); }

  char m_text[limit + sizeof "..."];
};
