// Lines of a scenario, and what they then do to records: what is read is in range and reads the same again,
// what is refused says where, and the writes of a delivery are the bytes that it tells of.
#include <algorithm>
#include <variant>

#include "base/Words.h"
#include "directive/DirectiveParser.h"
#include "directive/Fault.h"
#include "fuzz/Input.h"
#include "fuzz/Record.h"
#include "iss/CliConfig.h"

namespace {

/// Such records and pieces together that a target is still quick.
constexpr uint64_t mostWrites = 5000;

void checkChanges(const sim::RecordChanges& changes) {
  for (const sim::FieldValue& field : changes.fields) {
    must(field.offset + field.bytes.size() <= sizeof(OtnIpcMsg), "a value stays inside the record", [&] {
      return std::to_string(field.offset) + " and " + std::to_string(field.bytes.size()) + " bytes";
    });
  }
}

struct CheckFault {
  void operator()(const sim::fault::Delay& delay) const {
    must(delay.time.count() <= 86'400'000, "a day at most");
  }
  void operator()(const sim::fault::Duplicate& fault) const {
    must(fault.copies - 1 < 1000, "1 to 1000 copies");
  }
  void operator()(const sim::fault::ErrorLength& error) const {
    must(error.length < 500 || (error.length == 500 && !error.terminated), "an error text has room");
  }
  void operator()(const sim::fault::Split& split) const {
    must(split.size - 1 < sizeof(OtnIpcMsg), "a piece is a part of a record");
  }
  void operator()(const sim::fault::Merge& merge) const { checkChanges(merge.next.changes); }
  void operator()(const sim::fault::Close& close) const {
    must(close.where != sim::fault::CloseAt::within || close.offset - 1 < sizeof(OtnIpcMsg) - 1,
         "within is within");
  }
  void operator()(const sim::fault::Garbage& garbage) const {
    must(garbage.size - 1 < 1'000'000, "garbage's size");
  }
  void operator()(const sim::fault::Flood& flood) const {
    must(flood.count - 1 < 1'000'000, "a flood's number");
    checkChanges(flood.record.changes);
  }
  void operator()(const sim::fault::Change& change) const { checkChanges(change.changes); }
  template <class Other>
  void operator()(const Other&) const {}
};

struct CheckAction {
  void operator()(const sim::directive::Startup& startup) const {
    for (const sim::StartupStep& step : startup.steps) checkChanges(step.record.changes);
  }
  void operator()(const sim::directive::KeepAlive& alive) const {
    must(alive.period.count() <= 86'400'000, "a day");
  }
  void operator()(const sim::directive::Own& own) const { checkChanges(own.record.changes); }
  void operator()(const sim::directive::Send& send) const {
    must(send.count - 1 < 1'000'000, "a flood's number");
    checkChanges(send.record.changes);
  }
  void operator()(const sim::directive::Raw& raw) const { must(!raw.bytes.empty(), "raw has bytes"); }
  void operator()(const sim::directive::Port& port) const {
    must(port.ports != 0 && (port.ports & ~sim::allPorts) == 0, "ports that there are");
  }
  void operator()(const sim::FaultRule& rule) const {
    const sim::Selector& selector = rule.selector;
    must(selector.every >= 1 && selector.times >= 1 && selector.chance <= 1'000'000, "a selector can select");
    std::visit(CheckFault(), rule.action);
  }
  template <class Other>
  void operator()(const Other&) const {}
};

/// What a rule makes of one record, at the most.
uint64_t writesOf(const std::vector<sim::FaultRule>& rules) {
  uint64_t copies = 1;
  uint64_t size = sizeof(OtnIpcMsg);
  uint64_t piece = size;
  uint64_t garbage = 0;
  for (const sim::FaultRule& rule : rules) {
    if (const auto* duplicate = std::get_if<sim::fault::Duplicate>(&rule.action)) copies += duplicate->copies;
    if (const auto* split = std::get_if<sim::fault::Split>(&rule.action))
      piece = std::min<uint64_t>(piece, split->size);
    if (std::holds_alternative<sim::fault::Merge>(rule.action)) size += sizeof(OtnIpcMsg);
    if (const auto* extra = std::get_if<sim::fault::Garbage>(&rule.action)) garbage += extra->size / 64;
  }
  return copies * (size / piece + 1) + garbage;
}

void checkDelivery(const sim::Delivery& delivery) {
  must(delivery.delay.count() >= 0, "time goes on");
  must(isPrintableLine(delivery.notes), "notes are one printable line",
       [&] { return readable(delivery.notes); });
  size_t told = 0;
  size_t written = 0;
  for (const sim::Write& write : delivery.writes) {
    must(!write.bytes.empty() && write.repeats >= 1, "a write has bytes");
    written += write.bytes.size();
    for (const sim::Told& each : write.told) {
      told += each.size;
      must(each.record == nullptr || each.size <= sizeof(OtnIpcMsg), "a record is not longer than a record");
      must(isPrintableLine(each.how), "how it went is one printable line",
           [&] { return readable(each.how); });
    }
  }
  must(told == written, "every byte that goes out is told of, once",
       [&] { return std::to_string(written) + " written, " + std::to_string(told) + " told"; });
  for (const sim::Told& each : delivery.dropped)
    must(each.size == 0 && each.record != nullptr, "what is dropped stays");
  must(!delivery.writes.empty() || !delivery.dropped.empty(), "a record goes out or is dropped");
}

void armAndApply(std::vector<sim::FaultRule>& rules, Input& input) {
  if (writesOf(rules) > mostWrites) return;
  sim::FaultTable table;
  table.seed(input.byte());
  for (sim::FaultRule& rule : rules) table.add(std::move(rule));
  for (int i = 0; i < 3; ++i) {
    OtnIpcMsg record = takeRecord(input);
    record.isResponse = 1;
    checkDelivery(table.apply(record));
    for (const sim::ArmedRule& armed : table.armed()) {
      const uint32_t times = armed.rule.selector.times;
      must(armed.hits <= times && (times == UINT32_MAX || armed.left == times - armed.hits),
           "a rule hits so many times");
      must((armed.left == 0) == (armed.next == 0), "what is left has a next time");
    }
  }
  table.clearFaults();
  table.clearAnswers();
  must(table.armed().empty(), "cleared rules are gone");
}

/// False when it is refused.
bool parseLine(std::string_view line, sim::Directive& directive) {
  size_t column = 0;
  const sim::Problem problem = sim::parseDirective(line, directive, &column);
  must(column >= 1 && column <= line.size() + 1, "a column is in the line",
       [&] { return std::to_string(column); });
  if (problem) {
    must(!problem->empty() && isPrintableLine(*problem), "a problem is one printable line",
         [&] { return readable(*problem); });
    return false;
  }
  must(directive.texts.size() == directive.when.size() + 1 && directive.when.size() <= 8,
       "a text for each condition, and the action's");
  for (const std::string& text : directive.texts)
    must(line.find(text) != std::string_view::npos, "texts are the line's own");
  std::visit(CheckAction(), directive.action);
  return true;
}

void readAgain(const sim::Directive& directive) {
  sim::Directive again;
  must(parseLine(directive.texts.back(), again), "the action alone can be read");
  must(again.action.index() == directive.action.index() && again.when.empty(), "and is the same");
  must(again.texts.back() == directive.texts.back(), "with the same text");
}

void quoteAgain(std::string_view text) {
  const std::string quoted = sim::quoted(text);
  must(isPrintableLine(quoted), "a quoted text is one printable line", [&] { return readable(quoted); });
  if (quoted.starts_with('#')) return;
  sim::Words words;
  must(!sim::splitWords(quoted, words) && words.words.size() == 1 && words.words[0] == text,
       "a quoted text is one word, the text itself", [&] { return std::string(quoted); });
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* bytes, size_t size) {
  Input input(bytes, size);
  std::vector<sim::FaultRule> rules;
  for (int count = 0; count < 6 && !input.atEnd(); ++count) {
    const std::string_view line = input.line();
    quoteAgain(line);
    if (sim::isBlank(line)) continue;
    sim::Directive directive;
    if (!parseLine(line, directive)) continue;
    readAgain(directive);
    if (auto* rule = std::get_if<sim::FaultRule>(&directive.action)) rules.push_back(std::move(*rule));
  }
  armAndApply(rules, input);
  return 0;
}
