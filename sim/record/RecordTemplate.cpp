#include "record/RecordTemplate.h"

#include <algorithm>
#include <charconv>
#include <cstring>

#include "OtnIpcFields.h"
#include "PortBitmap.h"
#include "base/Words.h"

namespace sim {
namespace {

template <typename T>
std::string bytesOf(const T& value) {
  return {reinterpret_cast<const char*>(&value), sizeof value};
}

bool parseSigned(std::string_view text, std::string& bytes) {
  int32_t value = 0;
  const auto [end, code] = std::from_chars(text.data(), text.data() + text.size(), value);
  if (code != std::errc{} || end != text.data() + text.size()) return false;
  bytes = bytesOf(value);
  return true;
}

/// One number a byte between separators.
bool parseByteList(std::string_view text, char separator, size_t count, std::string& bytes) {
  bytes.clear();
  while (true) {
    const size_t end = text.find(separator);
    uint32_t value = 0;
    if (!parseNumber(text.substr(0, end), UINT8_MAX, value)) return false;
    bytes += static_cast<char>(value);
    if (end == std::string_view::npos) return bytes.size() == count;
    text.remove_prefix(end + 1);
  }
}

bool parseVlans(std::string_view text, size_t size, std::string& bytes) {
  bytes.clear();
  while (true) {
    const size_t end = text.find(',');
    std::string one;
    if (!parseSigned(text.substr(0, end), one)) return false;
    bytes += one;
    if (end == std::string_view::npos) return bytes.size() <= size;
    text.remove_prefix(end + 1);
  }
}

bool parseMac(std::string text, std::string& bytes) {
  if (std::count(text.begin(), text.end(), ':') != 5) return false;
  std::erase(text, ':');
  return parseHex(text, bytes) && bytes.size() == 6;
}

bool parseValue(const ops::FieldInfo& field, std::string_view text, std::string& bytes) {
  uint32_t number = 0;
  switch (field.kind) {
    case ops::FieldKind::number:
    case ops::FieldKind::label: {
      const uint32_t most = field.size == 1 ? UINT8_MAX : field.size == 2 ? UINT16_MAX : UINT32_MAX;
      if (!parseNumber(text, most, number)) return false;
      bytes = bytesOf(number).substr(0, field.size);
      return true;
    }
    case ops::FieldKind::signedNumber:
    case ops::FieldKind::redundancyState:
      return parseSigned(text, bytes);
    case ops::FieldKind::text:
      bytes = text;
      if (bytes.size() > field.size) return false;
      bytes.resize(field.size);
      return true;
    case ops::FieldKind::mac:
      return parseMac(std::string(text), bytes);
    case ops::FieldKind::ipAddress:
      if (!parseByteList(text, '.', 4, bytes)) return false;
      std::reverse(bytes.begin(), bytes.end());
      return true;
    case ops::FieldKind::bytes:
    case ops::FieldKind::filterEntries:
      return parseHex(text, bytes) && bytes.size() <= field.size;
    case ops::FieldKind::values:
      return parseByteList(text, ',', field.size, bytes);
    case ops::FieldKind::bigEndianNumber:
      if (!parseNumber(text, UINT32_MAX, number)) return false;
      bytes = bytesOf(number);
      std::reverse(bytes.begin(), bytes.end());
      return true;
    case ops::FieldKind::portList: {
      // A bitmap is written in hex.
      if (text.starts_with("0x") ? !parseNumber(text, UINT32_MAX, number) : !parsePorts(text, 32, number)) {
        return false;
      }
      uint8_t list[4];
      bitmapToPortList(number, list);
      bytes = bytesOf(list);
      return true;
    }
    case ops::FieldKind::vlanList:
      return parseVlans(text, field.size, bytes);
  }
  return false;
}

const ops::FieldInfo* findField(uint32_t type, std::string_view name) {
  for (const std::span<const ops::FieldInfo> fields :
       {ops::fieldsOf(type), std::span<const ops::FieldInfo>(ops::trailerFields)}) {
    const auto found =
        std::ranges::find(fields, name, [](const auto& field) { return std::string_view(field.name); });
    if (found != fields.end()) return &*found;
  }
  return nullptr;
}

}  // namespace

void RecordChanges::applyTo(OtnIpcMsg& record) const {
  for (const FieldValue& field : fields) {
    memcpy(reinterpret_cast<char*>(&record) + field.offset, field.bytes.data(), field.bytes.size());
  }
}

OtnIpcMsg RecordTemplate::build() const {
  OtnIpcMsg record{};
  record.msgType = type;
  changes.applyTo(record);
  return record;
}

bool parseType(std::string_view word, uint32_t& type) {
  for (uint32_t known = 0; known < OtnIpcMsgTypeCount; ++known) {
    if (word == OtnIpcMsgTypeStrings[known]) {
      type = known;
      return true;
    }
  }
  return parseNumber(word, UINT32_MAX, type);
}

Problem parseField(uint32_t type, std::string_view word, RecordChanges& changes) {
  const size_t equals = word.find('=');
  if (equals == std::string_view::npos) return "expected name=value, not " + quoted(word.substr(0, 60));
  const std::string name(word.substr(0, equals));
  const std::string_view text = word.substr(equals + 1);
  FieldValue value{};
  if (name.starts_with('@')) {
    uint32_t offset = 0;
    if (!parseNumber(std::string_view(name).substr(1), sizeof(OtnIpcMsg) - 1, offset) ||
        !parseHex(text, value.bytes) || offset + value.bytes.size() > sizeof(OtnIpcMsg)) {
      return "expected @offset=hex inside the record, not " + quoted(word.substr(0, 60));
    }
    value.offset = offset;
  } else {
    const ops::FieldInfo* field = findField(type, name);
    if (field == nullptr)
      return std::string(msgTypeName(type)) + " has no field " + quoted(name.substr(0, 60));
    if (!parseValue(*field, text, value.bytes)) {
      return "bad value " + quoted(text.substr(0, 60)) + " for " + name;
    }
    value.offset = field->offset;
  }
  changes.fields.push_back(std::move(value));
  return std::nullopt;
}

}  // namespace sim
