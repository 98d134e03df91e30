#include "directive/DirectiveParser.h"

#include <array>
#include <cctype>
#include <span>
#include <utility>

#include "directive/ConditionParser.h"
#include "directive/FaultParser.h"
#include "iss/CliConfig.h"
#include "record/WordReader.h"

namespace sim {
namespace {

using directive::Action;

RecordTemplate restoreRecord(uint32_t status) {
  RecordTemplate record{MSR_RELOAD_STATUS, {}};
  parseField(record.type, "reloadStatus=" + std::to_string(status), record.changes);
  return record;
}

Problem parseStartup(WordReader& words, Action& action) {
  directive::Startup startup;
  if (words.next("none")) {
    action = startup;
    return words.end();
  }
  if (words.atEnd()) return "startup needs its steps, or none";
  std::chrono::milliseconds wait{0};
  while (!words.atEnd()) {
    const std::string word = words.take();
    std::chrono::milliseconds time{0};
    if (parseTime(word, time)) {
      wait += time;
      continue;
    }
    RecordTemplate record;
    if (word == "init") {
      record.type = TASK_INIT_STATUS;
    } else if (word == "restored" || word == "restore-failed") {
      record = restoreRecord(word == "restored" ? 0 : 1);
    } else if (word == "alive") {
      record.type = WATCH_DOG_ISS_ACTIVE;
    } else {
      return "unknown start-up step " + shown(word) + " (known: init restored restore-failed alive TIME)";
    }
    startup.steps.push_back({wait, std::move(record)});
    wait = {};
  }
  action = std::move(startup);
  return std::nullopt;
}

Problem parseKeepAlive(WordReader& words, Action& action) {
  directive::KeepAlive keepAlive{};
  if (!words.next("off")) {
    if (Problem problem = words.time("keepalive", keepAlive.period)) return problem;
    if (keepAlive.period.count() == 0) return "a keep-alive period of 0 is written off";
  }
  action = keepAlive;
  return words.end();
}

Problem parseInit(WordReader& words, Action& action) {
  action = directive::Own{{TASK_INIT_STATUS, {}}};
  return words.end();
}

Problem parseAlive(WordReader& words, Action& action) {
  action = directive::Own{{WATCH_DOG_ISS_ACTIVE, {}}};
  return words.end();
}

Problem parseRestore(WordReader& words, Action& action) {
  const bool good = words.next("ok");
  if (!good && !words.next("failed")) return "restore needs ok or failed";
  action = directive::Own{restoreRecord(good ? 0 : 1)};
  return words.end();
}

Problem parseCpu(WordReader& words, Action& action) {
  if (words.atEnd()) return "cpu needs a thread's name and its pid";
  RecordTemplate record{CPU_THRESHOLD, {}};
  if (Problem problem = parseField(record.type, "threadName=" + words.take(), record.changes)) return problem;
  const std::string pid = words.take();
  if (Problem problem = parseField(record.type, "pid=" + pid, record.changes)) return problem;
  action = directive::Own{std::move(record)};
  return words.end();
}

Problem parseSend(WordReader& words, Action& action) {
  directive::Send send{{}, 1};
  if (Problem problem = words.record("send", send.record)) return problem;
  action = std::move(send);
  return words.end();
}

Problem parseFlood(WordReader& words, Action& action) {
  directive::Send send{{}, 1};
  if (Problem problem = words.number("flood", 1, maxFlood, send.count)) return problem;
  if (Problem problem = words.record("flood", send.record)) return problem;
  action = std::move(send);
  return words.end();
}

Problem parseRaw(WordReader& words, Action& action) {
  directive::Raw raw;
  while (!words.atEnd()) {
    std::string bytes;
    const std::string word = words.take();
    if (!parseHex(word, bytes)) return "raw needs pairs of hex digits, not " + shown(word);
    raw.bytes += bytes;
  }
  if (raw.bytes.empty()) return "raw needs pairs of hex digits";
  action = std::move(raw);
  return std::nullopt;
}

Problem parseGarbage(WordReader& words, Action& action) {
  directive::Garbage garbage{};
  if (Problem problem = words.number("garbage", 1, maxGarbage, garbage.size)) return problem;
  action = garbage;
  return words.end();
}

Problem parsePort(WordReader& words, Action& action) {
  using directive::PortChange;
  directive::Port port{};
  if (Problem problem = words.ports("port", portCount, port.ports)) return problem;
  if (words.next("up")) {
    port.change = PortChange::up;
  } else if (words.next("down")) {
    port.change = PortChange::down;
  } else if (words.next("toggle")) {
    port.change = PortChange::toggle;
  } else {
    return "port N needs up, down or toggle";
  }
  action = port;
  return words.end();
}

Problem parseClose(WordReader& words, Action& action) {
  action = directive::Close{words.next("reset")};
  return words.end();
}

Problem parseRestart(WordReader& words, Action& action) {
  directive::Restart restart{};
  if (Problem problem = words.time("restart", restart.away)) return problem;
  action = restart;
  return words.end();
}

Problem parseStall(WordReader& words, Action& action) {
  directive::Stall stall{};
  if (Problem problem = words.time("stall", stall.time)) return problem;
  action = stall;
  return words.end();
}

Problem parseSeed(WordReader& words, Action& action) {
  directive::Seed seed{};
  if (Problem problem = words.number("seed", 0, UINT32_MAX, seed.value)) return problem;
  action = seed;
  return words.end();
}

Problem parseClear(WordReader& words, Action& action) {
  using directive::Clear;
  constexpr std::array<std::pair<std::string_view, Clear>, 4> known = {{{"faults", Clear::faults},
                                                                        {"answers", Clear::answers},
                                                                        {"schedule", Clear::schedule},
                                                                        {"all", Clear::all}}};
  for (const auto& [word, clear] : known) {
    if (!words.next(word)) continue;
    action = clear;
    return words.end();
  }
  return "clear needs faults, answers, schedule or all";
}

Problem parseFaultLine(WordReader& words, Action& action) {
  FaultRule rule;
  if (Problem problem = parseFault(words, rule)) return problem;
  action = std::move(rule);
  return std::nullopt;
}

Problem parseAnswerLine(WordReader& words, Action& action) {
  FaultRule rule;
  if (Problem problem = parseAnswer(words, rule)) return problem;
  action = std::move(rule);
  return std::nullopt;
}

struct Verb {
  std::string_view word;
  Problem (*parse)(WordReader& words, Action& action);
};

constexpr Verb verbs[] = {
    {"startup", parseStartup}, {"keepalive", parseKeepAlive}, {"init", parseInit},
    {"restore", parseRestore}, {"alive", parseAlive},         {"cpu", parseCpu},
    {"port", parsePort},       {"answer", parseAnswerLine},   {"fault", parseFaultLine},
    {"send", parseSend},       {"flood", parseFlood},         {"raw", parseRaw},
    {"garbage", parseGarbage}, {"close", parseClose},         {"restart", parseRestart},
    {"stall", parseStall},     {"seed", parseSeed},           {"clear", parseClear},
};

Problem parseWords(WordReader& words, Directive& result) {
  result.when.clear();
  result.texts.clear();
  if (Problem problem = parseConditions(words, result)) return problem;
  if (words.atEnd()) return "nothing to do";
  const std::string verb = words.take();
  for (const Verb& known : verbs) {
    if (known.word == verb) return known.parse(words, result.action);
  }
  return "unknown directive " + shown(verb);
}

}  // namespace

Problem parseDirective(std::string_view line, Directive& result, size_t* column) {
  Words split;
  Problem problem = splitWords(line, split);
  size_t at = split.end;
  if (!problem) {
    WordReader words(std::move(split));
    problem = parseWords(words, result);
    at = words.column();
  }
  if (column != nullptr) *column = at;
  return problem;
}

bool isBlank(std::string_view line) {
  const size_t first = line.find_first_not_of(" \t\r");
  return first == std::string_view::npos || line[first] == '#';
}

}  // namespace sim
