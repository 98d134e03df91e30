#include "services/boardMac.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <string>

#include "trace.h"

uint8_t macAddr[6];

void readMacAddress(const char* text) {
  if (text == nullptr) return;
  std::string copy(text);
  char* rest = nullptr;
  size_t byte = 0;
  for (const char* token = strtok_r(copy.data(), ":", &rest); token != nullptr;
       token = strtok_r(nullptr, ":", &rest)) {
    errno = 0;
    const long value = strtol(token, nullptr, 16);
    if (errno != 0) TRACE(NOTICE, "main", 155, "main", "not able to find mac: %s", strerror(errno));
    if (byte < sizeof macAddr) macAddr[byte++] = static_cast<uint8_t>(value);
  }
}
