#include "directive/FaultParser.h"

namespace sim {
namespace {

using fault::Action;

Problem parseSelector(WordReader& words, std::string_view of, Selector& selector) {
  selector = {};
  if (words.next("any")) {
    selector.anyAnswer = true;
    // No type has this number: only the trailer's fields have names then.
    selector.type = UINT32_MAX;
  } else if (Problem problem = words.type(of, selector.type)) {
    return problem;
  }
  while (true) {
    Problem problem;
    if (words.next("skip")) {
      problem = words.number("skip", 1, UINT32_MAX - 1, selector.skip);
    } else if (words.next("every")) {
      problem = words.number("every", 1, UINT32_MAX - 1, selector.every);
    } else if (words.next("times")) {
      problem = words.number("times", 1, UINT32_MAX - 1, selector.times);
    } else if (words.next("chance")) {
      problem = words.chance("chance", selector.chance);
    } else {
      return std::nullopt;
    }
    if (problem) return problem;
  }
}

std::string describe(const Selector& selector, const std::string& what) {
  if (selector.anyAnswer) return "any " + what;
  return (selector.type < OtnIpcMsgTypeCount ? msgTypeName(selector.type) : std::to_string(selector.type)) +
         (" " + what);
}

Problem parseDrop(WordReader&, Action& action) {
  action = fault::Drop{};
  return std::nullopt;
}

Problem parseDelay(WordReader& words, Action& action) {
  fault::Delay delay{};
  if (Problem problem = words.time("delay", delay.time)) return problem;
  action = delay;
  return std::nullopt;
}

Problem parseDuplicate(WordReader& words, Action& action) {
  fault::Duplicate duplicate{1};
  if (!words.atEnd()) {
    if (Problem problem = words.number("duplicate", 1, 1000, duplicate.copies)) return problem;
  }
  action = duplicate;
  return std::nullopt;
}

Problem parseOtherType(WordReader& words, Action& action) {
  fault::OtherType other{};
  if (Problem problem = words.type("type", other.type)) return problem;
  action = other;
  return std::nullopt;
}

Problem parseErrorLength(WordReader& words, Action& action) {
  fault::ErrorLength error{0, true};
  constexpr uint32_t field = sizeof(OtnIpcMsg::errorString);
  if (Problem problem = words.number("error-length", 0, field, error.length)) return problem;
  error.terminated = !words.next("no-nul");
  if (error.terminated && error.length == field) return "no room for a NUL behind 500 characters: say no-nul";
  action = error;
  return std::nullopt;
}

Problem parseSplit(WordReader& words, Action& action) {
  fault::Split split{0, std::chrono::milliseconds(20)};
  if (Problem problem = words.number("split", 1, sizeof(OtnIpcMsg), split.size)) return problem;
  if (words.next("pause")) {
    if (Problem problem = words.time("pause", split.pause)) return problem;
  }
  action = split;
  return std::nullopt;
}

Problem parseMerge(WordReader& words, Action& action) {
  fault::Merge merge;
  if (Problem problem = words.record("merge", merge.next)) return problem;
  action = std::move(merge);
  return std::nullopt;
}

Problem parseClose(WordReader& words, Action& action) {
  fault::Close close{};
  if (words.next("before")) {
    close.where = fault::CloseAt::before;
  } else if (words.next("within")) {
    close.where = fault::CloseAt::within;
    if (Problem problem = words.number("within", 1, sizeof(OtnIpcMsg) - 1, close.offset)) return problem;
  } else if (words.next("after")) {
    close.where = fault::CloseAt::after;
  } else {
    return "close needs before, within BYTES or after";
  }
  close.reset = words.next("reset");
  action = close;
  return std::nullopt;
}

Problem parseGarbage(WordReader& words, Action& action) {
  fault::Garbage garbage{};
  if (Problem problem = words.number("garbage", 1, maxGarbage, garbage.size)) return problem;
  action = garbage;
  return std::nullopt;
}

Problem parseFlood(WordReader& words, Action& action) {
  fault::Flood flood{};
  if (Problem problem = words.number("flood", 1, maxFlood, flood.count)) return problem;
  if (Problem problem = words.record("flood", flood.record)) return problem;
  action = std::move(flood);
  return std::nullopt;
}

struct Verb {
  std::string_view word;
  Problem (*parse)(WordReader& words, Action& action);
};

constexpr Verb verbs[] = {
    {"drop", parseDrop},
    {"delay", parseDelay},
    {"duplicate", parseDuplicate},
    {"type", parseOtherType},
    {"error-length", parseErrorLength},
    {"split", parseSplit},
    {"merge", parseMerge},
    {"close", parseClose},
    {"garbage", parseGarbage},
    {"flood", parseFlood},
};

}  // namespace

Problem parseFault(WordReader& words, FaultRule& rule) {
  if (Problem problem = parseSelector(words, "fault", rule.selector)) return problem;
  if (words.atEnd()) return "fault needs what is to happen";
  rule.detail = words.from(words.taken());
  const std::string verb = words.take();
  for (const Verb& known : verbs) {
    if (known.word != verb) continue;
    rule.text = describe(rule.selector, verb);
    if (Problem problem = known.parse(words, rule.action)) return problem;
    return words.end();
  }
  return "unknown fault " + shown(verb);
}

Problem parseAnswer(WordReader& words, FaultRule& rule) {
  if (Problem problem = parseSelector(words, "answer", rule.selector)) return problem;
  if (words.atEnd()) return "answer needs name=value";
  rule.detail = "answer " + std::string(words.from(words.taken()));
  fault::Change change;
  if (Problem problem = words.fields(rule.selector.type, change.changes)) return problem;
  rule.text = describe(rule.selector, "answer");
  rule.action = std::move(change);
  return std::nullopt;
}

}  // namespace sim
