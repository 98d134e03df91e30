#include "record/FilterEntryText.h"

#include <algorithm>
#include <cstdio>
#include <cstring>

namespace sim {
namespace {

template <typename... Args>
std::string formatted(const char* format, Args... args) {
  char text[64];
  return {text, static_cast<size_t>(snprintf(text, sizeof text, format, args...))};
}

uint32_t word(const uint8_t* bytes) {
  uint32_t value = 0;
  memcpy(&value, bytes, sizeof value);
  return value;
}

std::string macText(const uint8_t* bytes) {
  return formatted("%02x:%02x:%02x:%02x:%02x:%02x", bytes[0], bytes[1], bytes[2], bytes[3], bytes[4],
                   bytes[5]);
}

std::string mac(const ops::FilterEntry& entry) {
  const bool whole = std::all_of(entry.mask, entry.mask + 6, [](uint8_t byte) { return byte == 0xff; });
  return "mac=" + macText(entry.value) + (whole ? "" : "/" + macText(entry.mask));
}

/// A number of 16 bits in a word.
std::string formatted(const char* name, const char* format, const ops::FilterEntry& entry) {
  std::string text = name + formatted(format, word(entry.value));
  if (const uint32_t mask = word(entry.mask); mask != 0xffff) text += formatted("/0x%x", mask);
  return text;
}

/// Label stack entries hold a label in their upper 20 bits; without a mask it counts for nothing.
std::string labels(const ops::FilterEntry& entry) {
  std::string text;
  if (word(entry.mask) != 0) text = formatted("mplsLabel=%u", word(entry.value) >> 12);
  if (word(entry.mask + 4) != 0) {
    text += formatted("%spwLabel=%u", text.empty() ? "" : ",", word(entry.value + 4) >> 12);
  }
  return text;
}

}  // namespace

std::string decodeFilterEntry(const ops::FilterEntry& entry, uint32_t entryKind) {
  switch (entry.type) {
    case 1:
    case 2:
    case 8:
    case 15:
      return mac(entry);
    case 3:
      return formatted("vlan=", "%u", entry);
    case 4:
    case 9:
    case 10:
      return formatted("etherType=", "0x%04x", entry);
    case 7:
      return formatted("vpn=", "%u", entry);
    case 11:
      return entryKind == ops::mstpRule || entryKind == ops::mrpRule ? labels(entry) : "";
    default:
      return "";
  }
}

}  // namespace sim
