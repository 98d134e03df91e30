// The words of a directive and what each kind of word stands for. Pure functions; any thread.
#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace sim {

/// A reason why something is wrong, on one line.
using Problem = std::optional<std::string>;

/// Splits a line at blanks. Text in double quotes is kept together, with \r \n \t \\ \" and \xHH in it; "#"
/// at the start of a word begins a comment.
Problem splitWords(std::string_view line, std::vector<std::string>& words);

/// Decimal, or hex behind "0x".
bool parseNumber(std::string_view word, uint32_t most, uint32_t& value);

/// "250ms", "2s" or "5m", one day at most.
bool parseTime(std::string_view word, std::chrono::milliseconds& value);

/// "25%" or "0.5%", in millionths.
bool parseChance(std::string_view word, uint32_t& millionths);

/// A message type by name or number.
bool parseType(std::string_view word, uint32_t& type);

/// Pairs of hex digits.
bool parseHex(std::string_view word, std::string& bytes);

}  // namespace sim
