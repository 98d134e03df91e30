#include "otnbus/values.h"

#include <string.h>

namespace otnbus {

namespace {

bool readValue(sd_bus_message* message, char type, std::vector<OBvalue>& values) {
  union {
    int boolean;
    int32_t i;
    uint32_t u;
    uint16_t q;
    const char* text;
  } value;
  if (sd_bus_message_read_basic(message, type, &value) <= 0) return false;
  switch (type) {
    case SD_BUS_TYPE_BOOLEAN:
      values.emplace_back(value.boolean != 0);
      return true;
    case SD_BUS_TYPE_INT32:
      values.emplace_back(value.i);
      return true;
    case SD_BUS_TYPE_UINT32:
      values.emplace_back(value.u);
      return true;
    case SD_BUS_TYPE_UINT16:
      values.emplace_back(value.q);
      return true;
    case SD_BUS_TYPE_STRING:
      values.emplace_back(std::string(value.text));
      return true;
    default:
      return false;
  }
}

int append(sd_bus_message* message, bool value) {
  const int boolean = value ? 1 : 0;
  return sd_bus_message_append_basic(message, SD_BUS_TYPE_BOOLEAN, &boolean);
}
int append(sd_bus_message* message, int32_t value) {
  return sd_bus_message_append_basic(message, SD_BUS_TYPE_INT32, &value);
}
int append(sd_bus_message* message, uint32_t value) {
  return sd_bus_message_append_basic(message, SD_BUS_TYPE_UINT32, &value);
}
int append(sd_bus_message* message, uint16_t value) {
  return sd_bus_message_append_basic(message, SD_BUS_TYPE_UINT16, &value);
}
int append(sd_bus_message* message, const std::string& value) {
  return sd_bus_message_append_basic(message, SD_BUS_TYPE_STRING, value.c_str());
}

}  // namespace

bool readValues(sd_bus_message* message, const char* signature, std::vector<OBvalue>& values) {
  if (sd_bus_message_has_signature(message, signature) <= 0) return false;
  values.reserve(strlen(signature));
  for (; *signature != '\0'; ++signature) {
    if (!readValue(message, *signature, values)) return false;
  }
  return true;
}

bool appendValues(sd_bus_message* message, const std::vector<OBvalue>& values) {
  for (const OBvalue& value : values) {
    const int result = std::visit([message](const auto& held) { return append(message, held); }, value);
    if (result < 0) return false;
  }
  return true;
}

size_t textSize(const std::vector<OBvalue>& values) {
  size_t size = 0;
  for (const OBvalue& value : values) {
    if (const std::string* text = std::get_if<std::string>(&value)) size += text->size();
  }
  return size;
}

}  // namespace otnbus
