#include "timeline/Marks.h"

namespace ctl {
namespace {

struct Rule {
  std::string_view begin;  ///< of the text
  MarkKind kind;
};

/// Texts are looked at, not line numbers: those may move from version to version.
constexpr Rule rules[] = {
    {"ISS refused ", MarkKind::refusal},
    {"OPS REPORTED ERROR IN ", MarkKind::refusal},
    {"no answer from ISS", MarkKind::silence},
    {"ISS has not taken a message", MarkKind::silence},
    {"ISS takes messages again", MarkKind::silence},
    {"ISS answered after", MarkKind::silence},
    {"gave up ", MarkKind::silence},
    {"a message is still outstanding", MarkKind::silence},
    {"CONNECTION TO OPS LOST", MarkKind::reconnect},
    {"Connected to OPS", MarkKind::reconnect},
    {"retry connecting", MarkKind::reconnect},
    {"OPS socket connection failed", MarkKind::reconnect},
    {"Buffer overflow, message lost!", MarkKind::full},
    {"Out of Mem for debug server msg", MarkKind::full},
    {"MSR reload succeeded", MarkKind::state},
    {"MSR RELOAD FAILED", MarkKind::state},
    {"OPS ready to receive messages", MarkKind::state},
    {"OTNBUS thread started", MarkKind::state},
    {"Set trace level to ", MarkKind::state},
    {"Finished", MarkKind::state},
    {"ifIndex=", MarkKind::link},
};

std::optional<MarkKind> kindOf(const LogLine& line) {
  if (line.source == "monitor") {
    if (line.text.starts_with("kick")) return MarkKind::kick;
    if (line.text.starts_with("report")) return MarkKind::warning;
    return std::nullopt;
  }
  for (const Rule& rule : rules) {
    if (line.text.starts_with(rule.begin)) return rule.kind;
  }
  if (line.level == "WARNING" || line.level == "ERROR" || line.level == "CRITICAL") return MarkKind::warning;
  return std::nullopt;
}

}  // namespace

std::optional<LogMark> markOf(const LogLine& line) {
  // With each alive message the daemon kicks its activity for ISS.
  if (line.text.starts_with("Received ALIVE message")) {
    return LogMark{line.when, MarkKind::kick, "ISS is alive: activity OPS is kicked"};
  }
  const std::optional<MarkKind> kind = kindOf(line);
  if (!kind) return std::nullopt;
  const std::string who = line.source == "monitor" ? "monitor device: " : "";
  return LogMark{line.when, *kind, who + line.text};
}

}  // namespace ctl
