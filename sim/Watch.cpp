#include "Watch.h"

#include <algorithm>
#include <cstdio>

#include "LineOutput.h"
#include "OpsDecoder.h"
#include "ShowTable.h"

namespace sim {
namespace {

std::string milliseconds(std::chrono::microseconds time) {
  char text[32];
  snprintf(text, sizeof text, "%.3f", static_cast<double>(time.count()) / 1000);
  return text;
}

void appendFields(std::string& json, const OtnIpcMsg& record, std::span<const ops::FieldInfo> fields) {
  for (const ops::FieldInfo& field : fields) {
    const bool number = field.kind == ops::FieldKind::number || field.kind == ops::FieldKind::signedNumber;
    if (json.back() != '{') json += ", ";
    std::string value = decodeField(record, field);
    // The decoder's quotes are for lines.
    if (field.kind == ops::FieldKind::text) {
      const char* text = reinterpret_cast<const char*>(&record) + field.offset;
      value.assign(text, strnlen(text, field.size));
    }
    json += jsonText(field.name) + ": " + (number ? value : jsonText(value));
  }
}

}  // namespace

std::string watchLine(const Passed& passed) {
  std::string line = timeOfDay() + (passed.direction == Direction::in ? " <- " : " -> ");
  line += decodeRecord(passed.record);
  if (passed.latency) line += " (after " + milliseconds(*passed.latency) + " ms)";
  return line + '\n';
}

std::string watchJson(const Passed& passed) {
  const OtnIpcMsg& record = passed.record;
  std::string json = "{\"time\": " + jsonText(timeOfDay());
  json += passed.direction == Direction::in ? R"(, "direction": "in")" : R"(, "direction": "out")";
  json += ", \"type\": " + std::to_string(record.msgType) +
          ", \"name\": " + jsonText(msgTypeName(record.msgType));
  json += ", \"latencyMs\": " + (passed.latency ? milliseconds(*passed.latency) : "null");
  json += ", \"fields\": {";
  appendFields(json, record, ops::fieldsOf(record.msgType));
  if (record.isResponse == 1) appendFields(json, record, ops::trailerFields);
  return json + "}}\n";
}

void Watch::onRecord(Direction direction, const OtnIpcMsg& record,
                     std::chrono::steady_clock::time_point when) {
  Passed passed{direction, record, {}};
  if (direction == Direction::in) {
    if (m_outstanding.size() >= maxOutstanding) m_outstanding.pop_front();
    m_outstanding.push_back({record.msgType, when});
  } else if (record.isResponse == 1) {
    passed.latency = latencyOf(record, when);
  }
  count(passed);
  if (m_listener) m_listener(passed);
}

void Watch::onClient(bool, std::chrono::steady_clock::time_point) {
  m_outstanding.clear();
}

/// An answer is to the oldest request of its type; to the oldest of all where it has a type of its own.
std::optional<std::chrono::microseconds> Watch::latencyOf(const OtnIpcMsg& answer,
                                                          std::chrono::steady_clock::time_point when) {
  if (m_outstanding.empty()) return {};
  auto found = std::ranges::find(m_outstanding, answer.msgType, &Outstanding::type);
  if (found == m_outstanding.end()) found = m_outstanding.begin();
  const auto latency = std::chrono::duration_cast<std::chrono::microseconds>(when - found->since);
  m_outstanding.erase(found);
  return latency;
}

void Watch::count(const Passed& passed) {
  const uint32_t type = passed.record.msgType;
  if (m_counts.size() >= maxTypes && !m_counts.contains(type)) return;
  MessageCount& count = m_counts[type];
  if (passed.direction == Direction::in) {
    ++count.received;
  } else if (passed.record.isResponse != 1) {
    ++count.sent;
  } else {
    ++count.answered;
    if (fieldText(passed.record.errorString) != ops::noError) ++count.refused;
  }
  if (!passed.latency) return;
  count.least = count.timed == 0 ? *passed.latency : std::min(count.least, *passed.latency);
  count.most = std::max(count.most, *passed.latency);
  count.total += *passed.latency;
  ++count.timed;
}

}  // namespace sim
