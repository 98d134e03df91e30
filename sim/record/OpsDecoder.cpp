#include "record/OpsDecoder.h"

#include <algorithm>
#include <cstdio>
#include <vector>

#include "PortBitmap.h"
#include "RedundancyState.h"
#include "base/Words.h"
#include "record/FilterEntryText.h"

namespace sim {
namespace {

using Bytes = std::span<const uint8_t>;

template <typename... Args>
void append(std::string& line, const char* format, Args... args) {
  char piece[64];
  line.append(piece, static_cast<size_t>(snprintf(piece, sizeof piece, format, args...)));
}

template <typename T>
T load(Bytes bytes) {
  T value;
  memcpy(&value, bytes.data(), sizeof value);
  return value;
}

uint32_t number(Bytes bytes) {
  switch (bytes.size()) {
    case 1:
      return bytes[0];
    case 2:
      return load<uint16_t>(bytes);
    default:
      return load<uint32_t>(bytes);
  }
}

void appendHex(std::string& line, Bytes bytes) {
  for (uint8_t byte : bytes) append(line, "%02x", byte);
}

bool allZero(Bytes bytes) {
  return std::all_of(bytes.begin(), bytes.end(), [](uint8_t byte) { return byte == 0; });
}

Bytes withoutTrailingZeros(Bytes bytes) {
  while (!bytes.empty() && bytes.back() == 0) bytes = bytes.first(bytes.size() - 1);
  return bytes;
}

void appendFilterEntries(std::string& line, Bytes bytes, uint8_t entryCount, uint32_t entryKind) {
  constexpr size_t size = sizeof(ops::FilterEntry);
  size_t shown = bytes.size() / size;
  while (shown > entryCount && allZero(bytes.subspan((shown - 1) * size, size))) --shown;
  line += '[';
  for (size_t i = 0; i < shown; ++i) {
    ops::FilterEntry entry;
    memcpy(&entry, &bytes[i * size], size);
    append(line, "%s%u:", i == 0 ? "" : ",", entry.type);
    appendHex(line, entry.value);
    line += '/';
    appendHex(line, entry.mask);
    if (const std::string meaning = decodeFilterEntry(entry, entryKind); !meaning.empty()) {
      line += '(' + meaning + ')';
    }
  }
  line += ']';
}

void appendVlans(std::string& line, Bytes bytes) {
  const size_t count = (withoutTrailingZeros(bytes).size() + 3) / sizeof(int32_t);
  line += '[';
  for (size_t i = 0; i < count; ++i) {
    append(line, "%s%d", i == 0 ? "" : ",", load<int32_t>(bytes.subspan(i * sizeof(int32_t))));
  }
  line += ']';
}

void appendPorts(std::string& line, Bytes bytes) {
  const uint8_t list[4] = {bytes[0], bytes[1], bytes[2], bytes[3]};
  appendHex(line, list);
  append(line, "(pbmp=0x%x)", portListToBitmap(list));
}

void appendValue(std::string& line, const ops::FieldInfo& field, Bytes bytes, const OtnIpcMsg& record) {
  switch (field.kind) {
    case ops::FieldKind::number:
      append(line, "%u", number(bytes));
      break;
    case ops::FieldKind::signedNumber:
      append(line, "%d", load<int32_t>(bytes));
      break;
    case ops::FieldKind::label:
      append(line, "0x%x", number(bytes));
      break;
    case ops::FieldKind::text: {
      const char* text = reinterpret_cast<const char*>(bytes.data());
      line += quoted({text, strnlen(text, bytes.size())});
      break;
    }
    case ops::FieldKind::mac:
      for (size_t i = 0; i < bytes.size(); ++i) append(line, "%s%02x", i == 0 ? "" : ":", bytes[i]);
      break;
    case ops::FieldKind::ipAddress:
      append(line, "%u.%u.%u.%u", bytes[3], bytes[2], bytes[1], bytes[0]);
      break;
    case ops::FieldKind::bytes:
      line += '[';
      appendHex(line, withoutTrailingZeros(bytes));
      line += ']';
      break;
    case ops::FieldKind::values:
      for (size_t i = 0; i < bytes.size(); ++i) append(line, "%s%u", i == 0 ? "" : ",", bytes[i]);
      break;
    case ops::FieldKind::bigEndianNumber:
      append(line, "%u",
             (uint32_t{bytes[0]} << 24) | (uint32_t{bytes[1]} << 16) | (uint32_t{bytes[2]} << 8) | bytes[3]);
      break;
    case ops::FieldKind::portList:
      appendPorts(line, bytes);
      break;
    case ops::FieldKind::filterEntries:
      appendFilterEntries(line, bytes, record.payload.rule.entryCount, record.payload.rule.entryKind);
      break;
    case ops::FieldKind::vlanList:
      appendVlans(line, bytes);
      break;
    case ops::FieldKind::redundancyState:
      append(line, "%d(%s)", load<int32_t>(bytes), redundancyStateName(load<int32_t>(bytes)));
      break;
  }
}

/// In an answer the trailer ends a list that would otherwise reach to the record's end.
size_t sizeOf(const ops::FieldInfo& field, const OtnIpcMsg& record) {
  return record.isResponse == 1 && field.kind == ops::FieldKind::vlanList
             ? offsetof(OtnIpcMsg, errorString) - field.offset
             : field.size;
}

/// Writes fields and remembers which bytes of the record they explain.
class LineBuilder {
 public:
  explicit LineBuilder(const OtnIpcMsg& record)
      : m_record(record),
        m_bytes(reinterpret_cast<const uint8_t*>(&record), sizeof record),
        m_known(sizeof record, false) {
    append(m_line, "%s [%u]", msgTypeName(record.msgType), record.msgType);
    std::fill_n(m_known.begin(), sizeof record.msgType, true);
  }

  void addFields(std::span<const ops::FieldInfo> fields) {
    for (const ops::FieldInfo& field : fields) {
      const size_t size = sizeOf(field, m_record);
      m_line += ' ';
      m_line += field.name;
      m_line += '=';
      appendValue(m_line, field, m_bytes.subspan(field.offset, size), m_record);
      markKnown(field, size);
    }
  }

  void addRest() {
    for (size_t at = 0; at < m_bytes.size();) {
      if (m_known[at] || m_bytes[at] == 0) {
        ++at;
        continue;
      }
      size_t end = at;
      while (end < m_bytes.size() && !m_known[end]) ++end;
      append(m_line, " @%zu=", at);
      appendHex(m_line, withoutTrailingZeros(m_bytes.subspan(at, end - at)));
      at = end;
    }
  }

  std::string take() { return std::move(m_line); }

 private:
  /// What follows the NUL of a text is not part of what was shown.
  void markKnown(const ops::FieldInfo& field, size_t size) {
    if (field.kind == ops::FieldKind::text) {
      const char* text = reinterpret_cast<const char*>(&m_bytes[field.offset]);
      size = strnlen(text, size);
    }
    std::fill_n(m_known.begin() + field.offset, size, true);
  }

  const OtnIpcMsg& m_record;
  Bytes m_bytes;
  std::vector<bool> m_known;
  std::string m_line;
};

}  // namespace

std::string decodeRecord(const OtnIpcMsg& record) {
  LineBuilder line(record);
  line.addFields(ops::fieldsOf(record.msgType));
  if (record.isResponse == 1) line.addFields(ops::trailerFields);
  line.addRest();
  return line.take();
}

std::string decodeField(const OtnIpcMsg& record, const ops::FieldInfo& field) {
  std::string value;
  const Bytes bytes(reinterpret_cast<const uint8_t*>(&record), sizeof record);
  appendValue(value, field, bytes.subspan(field.offset, sizeOf(field, record)), record);
  return value;
}

std::string decodePartialRecord(std::span<const std::byte> bytes) {
  std::string line;
  append(line, "partial record, %zu of %zu bytes: ", bytes.size(), sizeof(OtnIpcMsg));
  appendHex(line, {reinterpret_cast<const uint8_t*>(bytes.data()), bytes.size()});
  return line;
}

}  // namespace sim
