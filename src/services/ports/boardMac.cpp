#include "services/ports/boardMac.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <string>
#include <string_view>

#include "TraceObject.h"
#include "printable.h"

uint8_t macAddr[6];

namespace {

constexpr LogPlace atMain{"main", "main"};

bool isHexDigit(char c) {
  return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'f') || (c >= 'A' && c <= 'F');
}

/// Six hexadecimal bytes of one or two digits, separated by colons, and nothing else.
bool isMacAddress(std::string_view text) {
  size_t bytes = 0;
  size_t digits = 0;
  for (const char c : text) {
    if (c == ':' && digits > 0) {
      digits = 0;
    } else if (isHexDigit(c) && digits < 2) {
      if (digits++ == 0) ++bytes;
    } else {
      return false;
    }
  }
  return bytes == sizeof macAddr && digits > 0;
}

void storeBytes(const char* text) {
  std::string copy(text);
  char* rest = nullptr;
  size_t byte = 0;
  for (const char* token = strtok_r(copy.data(), ":", &rest); token != nullptr;
       token = strtok_r(nullptr, ":", &rest)) {
    errno = 0;
    const long value = strtol(token, nullptr, 16);
    if (errno != 0) LOG(NOTICE, atMain, 155, "not able to find mac: %s", strerror(errno));
    if (byte < sizeof macAddr) macAddr[byte++] = static_cast<uint8_t>(value);
  }
}

}  // namespace

void readMacAddress(const char* text) {
  if (text != nullptr) storeBytes(text);
  if (text != nullptr && isMacAddress(text)) return;
  LOG(WARNING, atMain, HERE,
      "ethaddr_first %s%s%s: the board's MAC address is taken as %02x:%02x:%02x:%02x:%02x:%02x; set it to "
      "six "
      "hexadecimal bytes such as 00:1a:2b:3c:4d:5e",
      text != nullptr ? "is not a MAC address (\"" : "is not set",
      Printable(text != nullptr ? text : "").c_str(), text != nullptr ? "\")" : "", macAddr[0], macAddr[1],
      macAddr[2], macAddr[3], macAddr[4], macAddr[5]);
}
