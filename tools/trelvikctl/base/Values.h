// Values of the command line as people write them. Pure functions; any thread.
#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace ctl {

/// What is wrong with a value: "needs ..., not ...".
struct Fault {
  std::string text;
  bool forcible = false;  ///< can be sent all the same
};
using Checked = std::optional<Fault>;

struct Range {
  uint32_t least;
  uint32_t most;
};

struct Name {
  const char* name;
  uint32_t value;
};

/// Front ports of the board.
inline constexpr uint32_t lastPort = 28;
inline constexpr Range portRange{1, lastPort};
inline constexpr Range vlanRange{1, 4094};
inline constexpr Range labelRange{0, 0xFFFFF};
inline constexpr Range anyNumber{0, UINT32_MAX};

/// Decimal, or hex behind "0x".
Checked parseNumber(const std::string& word, Range range, uint32_t& value);

/// One of the names; forcibly any number.
Checked parseName(const std::string& word, std::span<const Name> names, uint32_t& value);

/// "1,2,5-8" or "none" as a bitmap: bit n = port n + 1.
Checked parsePortList(const std::string& word, uint32_t& bitmap);

/// "100,200" as a list, of as many as a message can hold.
Checked parseVlanList(const std::string& word, std::string& list);

/// "10.0.0.1", the first number in the most significant byte.
Checked parseIpAddress(const std::string& word, uint32_t& address);

/// "1:128:194:0", as many as a message can hold; tells how many.
Checked parsePdu(const std::string& word, std::string& pdu, uint32_t& size);

/// Three numbers: "0x1,2,3".
Checked parseWords(const std::string& word, std::vector<uint32_t>& words);

/// "500ms", "30s", "5m"; without a unit seconds.
Checked parseTimeout(const std::string& word, std::chrono::milliseconds& time);

/// The parts between separators, empty ones included.
/// A message's type for people: "RUN_DEFAULT_SCRIPT_COMMAND [8]".
std::string typeText(uint32_t msgType);

std::vector<std::string> split(const std::string& text, char separator);

/// The name of a value; its number when it has none.
std::string nameOf(uint32_t value, std::span<const Name> names);

}  // namespace ctl
