#include "directive/Fault.h"

#include <algorithm>
#include <cstring>
#include <utility>

#include "record/SentText.h"

namespace sim {
namespace {

std::shared_ptr<const OtnIpcMsg> shared(const OtnIpcMsg& record) {
  return std::make_shared<const OtnIpcMsg>(record);
}

/// "1 of 3", when there are several.
std::string place(size_t at, size_t count, const char* of = "") {
  return count < 2 ? "" : std::to_string(at + 1) + " of " + std::to_string(count) + of;
}

/// Gathers what the rules do to one record.
class Outcome {
 public:
  Outcome(const OtnIpcMsg& record, FaultTable& table)
      : m_record(record), m_meant(record.msgType), m_table(table) {}

  void operator()(const fault::Drop&) { m_dropped = true; }
  void operator()(const fault::Delay& delay) { m_delivery.delay += delay.time; }
  void operator()(const fault::Duplicate& duplicate) { m_copies += duplicate.copies; }
  void operator()(const fault::OtherType& other) { m_record.msgType = other.type; }
  void operator()(const fault::ErrorLength& error) {
    memset(m_record.errorString, error.terminated ? 0 : '~', sizeof m_record.errorString);
    memset(m_record.errorString, 'e', std::min<size_t>(error.length, sizeof m_record.errorString));
    m_record.status = 1;
  }
  void operator()(const fault::Split& split) { m_split = split; }
  void operator()(const fault::Merge& merge) { m_behind.push_back(merge.next.build()); }
  void operator()(const fault::Close& close) {
    m_close = close;
    m_delivery.ending = close.reset ? Ending::reset : Ending::close;
  }
  void operator()(const fault::Garbage& garbage) {
    m_delivery.writes.push_back({m_table.garbage(garbage.size), 1, {}, {{nullptr, garbage.size, ""}}});
  }
  void operator()(const fault::Flood& flood) {
    const OtnIpcMsg record = flood.record.build();
    m_delivery.writes.push_back({bytesOf(record), flood.count, {}, {{shared(record), sizeof record, ""}}});
  }
  void operator()(const fault::Change& change) { change.changes.applyTo(m_record); }

  Delivery take(std::string notes) {
    shape();
    for (Told& told : m_delivery.dropped) told.rules = notes;
    for (Write& write : m_delivery.writes) {
      for (Told& told : write.told) told.rules = notes;
    }
    m_delivery.notes = std::move(notes);
    return std::move(m_delivery);
  }

 private:
  void shape() {
    const bool closed = m_delivery.ending != Ending::none;
    if (m_dropped || (closed && m_close.where == fault::CloseAt::before)) {
      m_delivery.dropped.push_back({shared(m_record), 0, "dropped"});
      return;
    }
    std::string message = bytesOf(m_record);
    for (const OtnIpcMsg& record : m_behind) message += bytesOf(record);
    if (closed && m_close.where == fault::CloseAt::within) {
      message.resize(m_close.offset);
      m_behind.clear();
      m_copies = 1;
    }
    for (uint32_t copy = 0; copy < m_copies; ++copy) addMessage(message, copy);
  }

  void addMessage(const std::string& message, uint32_t copy) {
    const size_t size = m_split.size == 0 ? message.size() : m_split.size;
    for (size_t at = 0; at < message.size(); at += size) {
      const auto pause = at == 0 ? std::chrono::milliseconds(0) : m_split.pause;
      m_delivery.writes.push_back({message.substr(at, size), 1, pause, {}});
    }
    const size_t pieces = (message.size() + size - 1) / size;
    std::vector<Told>& told = m_delivery.writes.back().told;
    told.push_back({shared(m_record), std::min(message.size(), sizeof m_record), ""});
    for (const OtnIpcMsg& record : m_behind) told.push_back({shared(record), sizeof record, ""});
    for (size_t i = 0; i < told.size(); ++i) {
      appendHow(told[i].how, place(copy, m_copies));
      if (m_delivery.delay.count() > 0) {
        appendHow(told[i].how, "delayed " + std::to_string(m_delivery.delay.count()) + " ms");
      }
      if (i == 0 && m_record.msgType != m_meant) {
        appendHow(told[i].how, std::string("type was ") + msgTypeName(m_meant));
      }
      if (pieces > 1) appendHow(told[i].how, "in " + std::to_string(pieces) + " pieces");
      appendHow(told[i].how, place(i, told.size(), " in one write"));
      if (told[i].size < sizeof m_record) appendHow(told[i].how, partText(told[i].size));
    }
  }

  OtnIpcMsg m_record;
  uint32_t m_meant;  ///< the type before any rule
  FaultTable& m_table;
  Delivery m_delivery;
  bool m_dropped = false;
  uint32_t m_copies = 1;
  std::vector<OtnIpcMsg> m_behind;
  fault::Split m_split{};
  fault::Close m_close{};
};

bool isChange(const FaultRule& rule) {
  return std::holds_alternative<fault::Change>(rule.action);
}

}  // namespace

std::string partText(size_t bytes) {
  return std::to_string(bytes) + " of " + std::to_string(sizeof(OtnIpcMsg)) + " bytes";
}

std::string bytesOf(const OtnIpcMsg& record) {
  return {reinterpret_cast<const char*>(&record), sizeof record};
}

void FaultTable::clearAnswers() {
  std::erase_if(m_rules, [](const Entry& entry) { return isChange(entry.rule); });
}

void FaultTable::clearFaults() {
  std::erase_if(m_rules, [](const Entry& entry) { return !isChange(entry.rule); });
}

bool FaultTable::selects(Entry& entry, const OtnIpcMsg& record) {
  const Selector& selector = entry.rule.selector;
  if (selector.anyAnswer ? record.isResponse != 1 : record.msgType != selector.type) return false;
  if (entry.skipped < selector.skip) {
    ++entry.skipped;
    return false;
  }
  if (entry.hits >= selector.times) return false;
  if (++entry.passed < selector.every) return false;
  entry.passed = 0;
  if (selector.chance < 1'000'000 && m_random() % 1'000'000 >= selector.chance) return false;
  if (entry.hits < UINT32_MAX - 1) ++entry.hits;
  return true;
}

std::vector<ArmedRule> FaultTable::armed() const {
  std::vector<ArmedRule> rules;
  for (const Entry& entry : m_rules) {
    const Selector& selector = entry.rule.selector;
    const bool endless = selector.times == UINT32_MAX;
    const uint32_t left = endless ? UINT32_MAX : selector.times - entry.hits;
    const uint64_t next = uint64_t{selector.skip} - entry.skipped + selector.every - entry.passed;
    rules.push_back({entry.rule, entry.hits, left,
                     left == 0 ? 0 : static_cast<uint32_t>(std::min<uint64_t>(next, UINT32_MAX))});
  }
  return rules;
}

Delivery FaultTable::apply(const OtnIpcMsg& record) {
  Outcome outcome(record, *this);
  std::string notes;
  for (Entry& entry : m_rules) {
    if (!selects(entry, record)) continue;
    std::visit(outcome, entry.rule.action);
    if (!notes.empty()) notes += "; ";
    notes += entry.rule.text;
  }
  return outcome.take(std::move(notes));
}

std::string FaultTable::garbage(uint32_t size) {
  std::string bytes(size, '\0');
  for (char& byte : bytes) byte = static_cast<char>(m_random() & 0xff);
  return bytes;
}

}  // namespace sim
