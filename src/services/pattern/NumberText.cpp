#include "services/pattern/NumberText.h"

#include <algorithm>
#include <charconv>

std::optional<int32_t> takeNumber(std::string_view& text) {
  text.remove_prefix(std::min(text.find_first_not_of(" \t\n\v\f\r"), text.size()));
  // from_chars() takes a minus, and no plus.
  if (text.size() > 1 && text[0] == '+' && text[1] != '-') text.remove_prefix(1);
  int32_t number = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  if (error != std::errc()) return std::nullopt;
  text.remove_prefix(static_cast<size_t>(end - text.data()));
  return number;
}
