#include "control/Watch.h"

#include <algorithm>
#include <cstdio>

#include "base/LineOutput.h"
#include "base/Table.h"
#include "record/OpsDecoder.h"
#include "record/SentText.h"

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
  const bool in = passed.direction == Direction::in;
  const std::string latency = passed.latency ? "after " + milliseconds(*passed.latency) + " ms" : "";
  return timeOfDay() + (in ? " <- " : " -> ") + sentText(passed.what, latency) + '\n';
}

std::string watchJson(const Passed& passed) {
  const Sent& what = passed.what;
  const OtnIpcMsg* record = what.record;
  std::string json = "{\"time\": " + jsonText(timeOfDay());
  json += passed.direction == Direction::in ? R"(, "direction": "in")" : R"(, "direction": "out")";
  json += ", \"type\": " + (record == nullptr ? "null" : std::to_string(record->msgType)) +
          ", \"name\": " + (record == nullptr ? "null" : jsonText(msgTypeName(record->msgType)));
  json += ", \"latencyMs\": " + (passed.latency ? milliseconds(*passed.latency) : "null");
  json += ", \"how\": " + (what.how.empty() ? "null" : jsonText(what.how));
  json += ", \"bytes\": " + std::to_string(what.bytes) + ", \"count\": " + std::to_string(what.count);
  json += ", \"fields\": {";
  if (record != nullptr) {
    appendFields(json, *record, ops::fieldsOf(record->msgType));
    if (record->isResponse == 1) appendFields(json, *record, ops::trailerFields);
  }
  return json + "}}\n";
}

void Watch::onReceived(const OtnIpcMsg& record, std::chrono::steady_clock::time_point when) {
  if (m_outstanding.size() >= maxOutstanding) m_outstanding.pop_front();
  m_outstanding.push_back({record.msgType, when});
  pass({Direction::in, {&record, sizeof record}});
}

void Watch::onSent(const Sent& sent, std::chrono::steady_clock::time_point when) {
  Passed passed{Direction::out, sent};
  // The client still awaits an answer of which nothing left.
  if (sent.record != nullptr && sent.bytes > 0 && sent.record->isResponse == 1) {
    passed.latency = latencyOf(*sent.record, when);
  }
  pass(passed);
}

void Watch::pass(const Passed& passed) {
  if (passed.what.record != nullptr) count(passed, *passed.what.record);
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

void Watch::count(const Passed& passed, const OtnIpcMsg& record) {
  const uint32_t type = record.msgType;
  if (m_counts.size() >= maxTypes && !m_counts.contains(type)) return;
  MessageCount& count = m_counts[type];
  if (passed.direction == Direction::in) {
    ++count.received;
  } else if (passed.what.bytes < sizeof record) {
    count.dropped += passed.what.count;
  } else if (record.isResponse != 1) {
    count.sent += passed.what.count;
  } else {
    count.answered += passed.what.count;
    if (fieldText(record.errorString) != ops::noError) count.refused += passed.what.count;
  }
  if (!passed.latency) return;
  count.least = count.timed == 0 ? *passed.latency : std::min(count.least, *passed.latency);
  count.most = std::max(count.most, *passed.latency);
  count.total += *passed.latency;
  ++count.timed;
}

}  // namespace sim
