#include "otnbus/values.h"

#include <algorithm>
#include <cstring>
#include <string_view>

namespace otnbus {

namespace {

/// `textLeft` is what texts may still take.
ReadResult readValue(sd_bus_message* message, char type, std::vector<OBvalue>& values, size_t& textLeft) {
  union {
    int boolean;
    int32_t i;
    uint32_t u;
    uint16_t q;
    int64_t x;
    uint64_t t;
    const char* text;
  } value;
  if (sd_bus_message_read_basic(message, type, &value) <= 0) return ReadResult::WrongSignature;
  switch (type) {
    case SD_BUS_TYPE_BOOLEAN:
      values.emplace_back(value.boolean != 0);
      return ReadResult::Read;
    case SD_BUS_TYPE_INT32:
      values.emplace_back(value.i);
      return ReadResult::Read;
    case SD_BUS_TYPE_UINT32:
      values.emplace_back(value.u);
      return ReadResult::Read;
    case SD_BUS_TYPE_UINT16:
      values.emplace_back(value.q);
      return ReadResult::Read;
    case SD_BUS_TYPE_INT64:
      values.emplace_back(value.x);
      return ReadResult::Read;
    case SD_BUS_TYPE_UINT64:
      values.emplace_back(value.t);
      return ReadResult::Read;
    case SD_BUS_TYPE_STRING: {
      const std::string_view text(value.text);
      if (text.size() > textLeft) return ReadResult::TooMuchText;
      textLeft -= text.size();
      values.emplace_back(std::string(text));
      return ReadResult::Read;
    }
    default:
      return ReadResult::WrongSignature;
  }
}

/// What the arguments from the present place to the end of their container take.
size_t sizeFromHere(sd_bus_message* message, size_t limit) {
  union {
    const char* text;
    uint64_t number;
  } value;
  char type = 0;
  const char* contents = nullptr;
  size_t size = 0;
  while (size <= limit && sd_bus_message_peek_type(message, &type, &contents) > 0) {
    size += sizeof value;
    if (contents != nullptr) {
      // Without the memory to look into it there is none to keep it.
      if (sd_bus_message_enter_container(message, type, contents) <= 0) return limit + 1;
      size += sizeFromHere(message, limit - std::min(size, limit));
      if (size <= limit) sd_bus_message_exit_container(message);
      continue;
    }
    if (sd_bus_message_read_basic(message, type, &value) <= 0) return limit + 1;
    const bool text =
        type == SD_BUS_TYPE_STRING || type == SD_BUS_TYPE_OBJECT_PATH || type == SD_BUS_TYPE_SIGNATURE;
    if (text) size += strlen(value.text);
  }
  return size;
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
int append(sd_bus_message* message, int64_t value) {
  return sd_bus_message_append_basic(message, SD_BUS_TYPE_INT64, &value);
}
int append(sd_bus_message* message, uint64_t value) {
  return sd_bus_message_append_basic(message, SD_BUS_TYPE_UINT64, &value);
}
int append(sd_bus_message* message, const std::string& value) {
  return sd_bus_message_append_basic(message, SD_BUS_TYPE_STRING, value.c_str());
}

}  // namespace

ReadResult readValues(sd_bus_message* message, const char* signature, std::vector<OBvalue>& values) {
  if (sd_bus_message_has_signature(message, signature) <= 0) return ReadResult::WrongSignature;
  values.reserve(strlen(signature));
  size_t textLeft = maxText;
  for (; *signature != '\0'; ++signature) {
    const ReadResult result = readValue(message, *signature, values, textLeft);
    if (result != ReadResult::Read) return result;
  }
  return ReadResult::Read;
}

size_t keptSize(sd_bus_message* message, size_t limit) {
  const char* path = sd_bus_message_get_path(message);
  size_t size = path != nullptr ? strlen(path) : 0;
  if (size <= limit) size += sizeFromHere(message, limit - size);
  sd_bus_message_rewind(message, 1);
  return size;
}

bool appendValues(sd_bus_message* message, std::span<const OBvalue> values) {
  for (const OBvalue& value : values) {
    const int result = std::visit([message](const auto& held) { return append(message, held); }, value);
    if (result < 0) return false;
  }
  return true;
}

size_t textSize(std::span<const OBvalue> values) {
  size_t size = 0;
  for (const OBvalue& value : values) {
    if (const std::string* text = std::get_if<std::string>(&value)) size += text->size();
  }
  return size;
}

}  // namespace otnbus
