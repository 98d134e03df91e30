// What the simulator does to records before they are sent: changed answers, and faults. Rules apply in
// the order in which they were added, all that select a record to the same record. One owner, one thread; the
// same rules, seed and records give the same result.
#pragma once

#include <chrono>
#include <cstdint>
#include <memory>
#include <random>
#include <string>
#include <variant>
#include <vector>

#include "record/RecordTemplate.h"

namespace sim {

/// How a connection ends after what was sent.
enum class Ending : uint8_t { none, close, reset };

/// What is told once bytes are out.
struct Told {
  std::shared_ptr<const OtnIpcMsg> record;  ///< as it goes out; null = bytes that are no record
  size_t size;                              ///< bytes of it that go out; 0 = it is dropped
  std::string how;                          ///< see Sent
  std::string rules = {};                   ///< see Sent
};

/// Bytes that go out in one write.
struct Write {
  std::string bytes;
  uint32_t repeats = 1;                ///< so many such writes
  std::chrono::milliseconds pause{0};  ///< before it, counted from the write before it
  std::vector<Told> told;              ///< with its last byte; the last piece of a record tells of all of it
};

/// What becomes of one record.
struct Delivery {
  std::chrono::milliseconds delay{0};
  std::vector<Write> writes;
  std::vector<Told> dropped;  ///< what does not go out at all
  Ending ending = Ending::none;
  std::string notes;  ///< which rules applied, for the operator; empty = none
};

/// Which records a rule is for.
struct Selector {
  uint32_t type = InvalidMsgType;
  bool anyAnswer = false;  ///< answers of every type instead
  uint32_t skip = 0;       ///< the first ones left alone
  uint32_t every = 1;      ///< of those behind them, only each N-th
  uint32_t times = UINT32_MAX;
  uint32_t chance = 1'000'000;  ///< in millionths
};

namespace fault {
struct Drop {};
struct Delay {
  std::chrono::milliseconds time;
};
struct Duplicate {
  uint32_t copies;  ///< besides the record itself
};
struct OtherType {
  uint32_t type;
};
/// An error text of letters. With a NUL the rest of the field is zero, without it holds none at all.
struct ErrorLength {
  uint32_t length;
  bool terminated;
};
struct Split {
  uint32_t size;
  std::chrono::milliseconds pause;
};
struct Merge {
  RecordTemplate next;  ///< goes out behind the record, in the same write
};
enum class CloseAt : uint8_t { before, within, after };
struct Close {
  CloseAt where;
  uint32_t offset;  ///< for within: the bytes that still go out
  bool reset;
};
/// Random bytes in front of the record.
struct Garbage {
  uint32_t size;
};
/// Records in front of the record, each in a write of its own.
struct Flood {
  uint32_t count;
  RecordTemplate record;
};
/// Changes fields of the record; the directive `answer`.
struct Change {
  RecordChanges changes;
};
using Action =
    std::variant<Drop, Delay, Duplicate, OtherType, ErrorLength, Split, Merge, Close, Garbage, Flood, Change>;
}  // namespace fault

struct FaultRule {
  Selector selector;
  fault::Action action;
  std::string text;    ///< record and verb, for the line of each hit
  std::string detail;  ///< what it does, as the operator wrote it
};

/// A rule that stands, and what it has left to do.
struct ArmedRule {
  const FaultRule& rule;
  uint32_t hits;
  uint32_t left;  ///< UINT32_MAX = without end
  uint32_t next;  ///< the number of the record that it applies to next, 1 = the next one; 0 = none any more
};

class FaultTable {
 public:
  void seed(uint32_t value) { m_random.seed(value); }
  void add(FaultRule rule) { m_rules.push_back({std::move(rule)}); }

  /// Removes the rules that change answers, or all others.
  void clearAnswers();
  void clearFaults();

  /// What becomes of the record; counts it for the rules that select it.
  Delivery apply(const OtnIpcMsg& record);

  std::string garbage(uint32_t size);

  /// In the order in which they apply; valid until the table changes.
  std::vector<ArmedRule> armed() const;

 private:
  struct Entry {
    FaultRule rule;
    uint32_t skipped = 0;  ///< records left alone, of those to skip
    uint32_t passed = 0;   ///< records since the last one that was to be hit
    uint32_t hits = 0;
  };

  bool selects(Entry& entry, const OtnIpcMsg& record);

  std::vector<Entry> m_rules;
  std::mt19937 m_random;  ///< its sequence is the same everywhere
};

std::string bytesOf(const OtnIpcMsg& record);

/// "100 of 6924 bytes", for a record that does not go out whole.
std::string partText(size_t bytes);

}  // namespace sim
