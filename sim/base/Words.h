// The words of a directive and what each kind of word stands for. Pure functions; any thread.
#pragma once

#include <chrono>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "base/Problem.h"

namespace sim {

/// The words of a line and where in it they stand.
struct Words {
  std::vector<std::string> words;
  std::vector<size_t> columns;  ///< of each word's start, from 1 on
  size_t end = 1;               ///< the column behind the last word, or of what is wrong
  std::string line;             ///< up to there

  /// What stands in the line from this word on.
  std::string_view from(size_t word) const {
    return word < columns.size() ? std::string_view(line).substr(columns[word] - 1) : std::string_view();
  }
};

/// Splits a line at blanks. Text in double quotes is kept together, with \r \n \t \\ \" and \xHH in it; "#"
/// at the start of a word begins a comment.
Problem splitWords(std::string_view line, Words& result);

/// The text with control characters, quotes and bytes above ASCII escaped; put in quotes where it is empty
/// or holds a blank or an escape.
std::string quoted(std::string_view text);

/// Decimal, or hex behind "0x".
bool parseNumber(std::string_view word, uint32_t most, uint32_t& value);

/// "250ms", "2s" or "5m", one day at most.
bool parseTime(std::string_view word, std::chrono::milliseconds& value);

/// "25%" or "0.5%", in millionths.
bool parseChance(std::string_view word, uint32_t& millionths);

/// Ports by number, "5" or "1-4,7", as a bitmap: bit n = port n + 1. `most` is 32 at most.
bool parsePorts(std::string_view word, uint32_t most, uint32_t& bitmap);

/// Pairs of hex digits.
bool parseHex(std::string_view word, std::string& bytes);

}  // namespace sim
