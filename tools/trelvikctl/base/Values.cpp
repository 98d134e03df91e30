#include "base/Values.h"

#include <algorithm>

#include "OtnIpcMsg.h"
#include "base/Words.h"

namespace ctl {
namespace {

Fault fault(const std::string& needed, const std::string& word, bool forcible = false) {
  return {"needs " + needed + ", not " + sim::quoted(std::string_view(word).substr(0, 60)), forcible};
}

}  // namespace

std::string typeText(uint32_t msgType) {
  return std::string(msgTypeName(msgType)) + " [" + std::to_string(msgType) + "]";
}

std::vector<std::string> split(const std::string& text, char separator) {
  std::vector<std::string> parts(1);
  for (const char c : text) {
    if (c == separator) {
      parts.emplace_back();
    } else {
      parts.back() += c;
    }
  }
  return parts;
}

std::string nameOf(uint32_t value, std::span<const Name> names) {
  const auto found = std::ranges::find(names, value, &Name::value);
  return found == names.end() ? std::to_string(value) : found->name;
}

Checked parseNumber(const std::string& word, Range range, uint32_t& value) {
  const std::string needed =
      "a number from " + std::to_string(range.least) + " to " + std::to_string(range.most);
  if (!sim::parseNumber(word, UINT32_MAX, value)) return fault(needed, word);
  if (value < range.least || value > range.most) return fault(needed, word, true);
  return std::nullopt;
}

Checked parseName(const std::string& word, std::span<const Name> names, uint32_t& value) {
  std::string needed = "one of";
  for (const Name& name : names) {
    if (word == name.name) {
      value = name.value;
      return std::nullopt;
    }
    needed += (&name == &names.front() ? " " : ", ") + std::string(name.name);
  }
  return fault(needed, word, sim::parseNumber(word, UINT32_MAX, value));
}

Checked parsePortList(const std::string& word, uint32_t& bitmap) {
  const std::string needed = "ports from 1 to " + std::to_string(lastPort) + " (5 or 1,2,5-8), or none";
  bitmap = 0;
  if (word == "none") return std::nullopt;
  if (sim::parsePorts(word, lastPort, bitmap)) return std::nullopt;
  return fault(needed, word, sim::parsePorts(word, 32, bitmap));
}

Checked parseVlanList(const std::string& word, std::string& list) {
  constexpr size_t most = ops::VlanMapping::maxDataVlans;
  const std::string needed =
      "VLANs from 1 to 4094 with commas between them (100,200), " + std::to_string(most) + " at most";
  const std::vector<std::string> parts = split(word, ',');
  list = word;
  bool forcible = false;
  for (const std::string& part : parts) {
    uint32_t vlan = 0;
    if (const Checked wrong = parseNumber(part, vlanRange, vlan)) {
      if (!wrong->forcible) return fault(needed, word);
      forcible = true;
    }
  }
  if (parts.size() > most) forcible = true;
  if (forcible) return fault(needed, word, true);
  return std::nullopt;
}

Checked parseIpAddress(const std::string& word, uint32_t& address) {
  const std::vector<std::string> parts = split(word, '.');
  address = 0;
  bool good = parts.size() == 4;
  for (const std::string& part : parts) {
    uint32_t byte = 0;
    good = good && sim::parseNumber(part, UINT8_MAX, byte);
    address = (address << 8) | byte;
  }
  if (!good) return fault("an IPv4 address (10.0.0.1)", word);
  return std::nullopt;
}

Checked parsePdu(const std::string& word, std::string& pdu, uint32_t& size) {
  constexpr size_t most = sizeof ops::SmartSfpPdu::pdu;
  const std::string needed =
      "bytes from 0 to 255 with colons between them (1:128:194), " + std::to_string(most) + " at most";
  const std::vector<std::string> parts = split(word, ':');
  bool forcible = parts.size() > most;
  pdu = word;
  size = static_cast<uint32_t>(parts.size());
  for (const std::string& part : parts) {
    uint32_t byte = 0;
    // The daemon reads decimal numbers only.
    if (part.starts_with("0x") || !sim::parseNumber(part, INT32_MAX, byte)) return fault(needed, word);
    forcible = forcible || byte > UINT8_MAX;
  }
  if (forcible) return fault(needed, word, true);
  return std::nullopt;
}

Checked parseWords(const std::string& word, std::vector<uint32_t>& words) {
  const std::vector<std::string> parts = split(word, ',');
  words.assign(parts.size(), 0);
  bool good = parts.size() == 3;
  for (size_t i = 0; i < parts.size(); ++i) good = good && sim::parseNumber(parts[i], UINT32_MAX, words[i]);
  if (!good) return fault("three numbers with commas between them (0x1,2,3)", word);
  return std::nullopt;
}

Checked parseTimeout(const std::string& word, std::chrono::milliseconds& time) {
  const bool read = sim::parseTime(word, time) || sim::parseTime(word + "s", time);
  if (!read || time.count() == 0) {
    return fault("a time above 0 with its unit (500ms, 30s, 5m; without one seconds), a day at most", word);
  }
  return std::nullopt;
}

}  // namespace ctl
