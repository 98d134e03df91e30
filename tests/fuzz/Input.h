// What fuzz targets share: the input, read from the left, and what ends the process when a property does not
// hold.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <string_view>

/// The bytes that libFuzzer made up. Behind their end there are zeros.
class Input {
 public:
  Input(const uint8_t* bytes, size_t size) : m_rest(reinterpret_cast<const char*>(bytes), size) {
    whole = m_rest;
  }

  bool atEnd() const { return m_rest.empty(); }

  uint8_t byte() { return number<uint8_t>(); }

  template <class Number>
  Number number() {
    Number value{};
    const std::string_view bytes = take(sizeof value);
    if (!bytes.empty()) memcpy(&value, bytes.data(), bytes.size());
    return value;
  }

  /// A number that is mostly small: of one byte, and of four behind a byte above 250.
  uint32_t value() {
    const uint8_t first = byte();
    return first > 250 ? number<uint32_t>() : first;
  }

  /// At most so many bytes.
  std::string_view take(size_t most) {
    const std::string_view bytes = m_rest.substr(0, most);
    m_rest.remove_prefix(bytes.size());
    return bytes;
  }
  /// A text behind its length, of a byte.
  std::string_view text() { return take(byte()); }
  /// Up to the line's end or all.
  std::string_view line() {
    const std::string_view bytes = take(m_rest.find('\n'));
    take(1);
    return bytes;
  }
  std::string_view rest() { return take(m_rest.size()); }

  /// Of the run that goes on.
  static inline std::string_view whole;

 private:
  std::string_view m_rest;
};

/// Text and bytes as one printable line.
inline std::string readable(std::string_view bytes) {
  std::string line = "\"";
  for (const char c : bytes) {
    char piece[5] = {c};
    if (c < ' ' || c > '~' || c == '"' || c == '\\')
      snprintf(piece, sizeof piece, "\\x%02x", static_cast<uint8_t>(c));
    line += piece;
  }
  return line + '"';
}

/// Says which property does not hold, what shows it, and of which input; libFuzzer keeps that input.
[[noreturn]] inline void violated(const char* property, const std::string& shown) {
  fprintf(stderr, "\nDoes not hold: %s\n", property);
  if (!shown.empty()) fprintf(stderr, "Seen: %s\n", shown.c_str());
  fprintf(stderr, "Input: %s\n", readable(Input::whole).c_str());
  abort();
}

inline void must(bool holds, const char* property) {
  if (!holds) violated(property, {});
}
/// `show()` is asked only when the property does not hold.
template <class Show>
void must(bool holds, const char* property, Show show) {
  if (!holds) violated(property, show());
}

/// One line of characters that any terminal shows as they are.
inline bool isPrintableLine(std::string_view text) {
  for (const char c : text)
    if (c < ' ' || c > '~') return false;
  return true;
}
