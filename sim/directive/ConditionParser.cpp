#include "directive/ConditionParser.h"

namespace sim {
namespace {

Problem parseOccasions(WordReader& words, directive::Occasions& which) {
  if (words.next("skip")) {
    if (Problem problem = words.number("skip", 1, UINT32_MAX - 1, which.skip)) return problem;
  }
  if (words.next("times")) return words.number("times", 1, UINT32_MAX - 1, which.times);
  return std::nullopt;
}

/// Takes one prefix if there is one.
Problem parseWhen(WordReader& words, std::vector<directive::When>& when, bool& found) {
  found = true;
  if (words.next("on")) {
    if (words.next("connect")) {
      directive::OnConnect connect{};
      Problem problem = parseOccasions(words, connect.which);
      when.push_back(connect);
      return problem;
    }
    directive::OnRequest request{};
    if (Problem problem = words.type("on", request.type)) return problem;
    Problem problem = parseOccasions(words, request.which);
    when.push_back(request);
    return problem;
  }
  if (words.next("after")) {
    directive::After after{};
    if (Problem problem = words.time("after", after.time)) return problem;
    when.push_back(after);
    return std::nullopt;
  }
  if (words.next("every")) {
    directive::Every every{{}, UINT32_MAX};
    if (Problem problem = words.time("every", every.period)) return problem;
    if (every.period.count() == 0) return "every needs a time above 0";
    if (words.next("times")) {
      if (Problem problem = words.number("times", 1, UINT32_MAX - 1, every.times)) return problem;
    }
    when.push_back(every);
    return std::nullopt;
  }
  found = false;
  return std::nullopt;
}

}  // namespace

Problem parseConditions(WordReader& words, Directive& result) {
  bool repeated = false;
  while (true) {
    const size_t start = words.taken();
    bool found = false;
    if (Problem problem = parseWhen(words, result.when, found)) return problem;
    result.texts.emplace_back(words.from(start));
    if (!found) return std::nullopt;
    words.lookAt(start);
    if (result.when.size() > 8) return "too many conditions";
    const directive::When& when = result.when.back();
    if (result.when.size() > 1 && when.index() <= 1) return "on stands in front of after and every, once";
    const auto* every = std::get_if<directive::Every>(&when);
    if (every == nullptr) continue;
    if (repeated && every->times == UINT32_MAX) return "an every behind another needs its times";
    repeated = true;
  }
}

}  // namespace sim
