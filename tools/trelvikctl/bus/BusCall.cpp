#include "bus/BusCall.h"

namespace ctl {
namespace {

std::string shellWord(const std::string& text) {
  if (!text.empty() && text.find_first_not_of("abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ"
                                              "0123456789._/:,-") == std::string::npos) {
    return text;
  }
  std::string quotedText = "'";
  for (const char c : text) quotedText += c == '\'' ? std::string("'\\''") : std::string(1, c);
  return quotedText + '\'';
}

}  // namespace

char typeOf(const BusValue& value) {
  return "uiqbstx"[value.index()];
}

std::string signatureOf(const BusCall& call) {
  std::string signature;
  for (const BusArgument& argument : call.arguments) signature += typeOf(argument.value);
  return signature;
}

Node toNode(const BusValue& value) {
  return std::visit([](const auto& one) { return Node(one); }, value);
}

Node toNode(const std::vector<BusArgument>& arguments) {
  Node node = Node::object();
  for (const BusArgument& argument : arguments) node.add(argument.name, toNode(argument.value));
  return node;
}

std::string busctlLine(const BusCall& call) {
  std::string line =
      "busctl call " + call.service + ' ' + call.path + ' ' + call.interface + ' ' + call.method;
  if (call.arguments.empty()) return line;
  line += ' ' + signatureOf(call);
  // A negative number is not to be taken for an option.
  for (const BusArgument& argument : call.arguments) {
    const std::string value = toNode(argument.value).text();
    if (value.starts_with('-')) {
      line.replace(0, sizeof "busctl call" - 1, "busctl call --");
      break;
    }
  }
  for (const BusArgument& argument : call.arguments) line += ' ' + shellWord(toNode(argument.value).text());
  return line;
}

BusCall getTraceLevel() {
  return {.path = "/otn/Trelvik/ob_common", .interface = "otn.OBcommon_1_0", .method = "get_trace_level"};
}

BusCall setTraceLevel(int32_t level) {
  return {.path = "/otn/Trelvik/ob_common",
          .interface = "otn.OBcommon_1_0",
          .method = "set_trace_level",
          .arguments = {{"level", level}}};
}

BusCall triggerDataUser(int32_t state) {
  return {.path = "/otn/Trelvik/TrelvikOchTriggerAsync",
          .interface = "otn.OBOchTriggerTrelvik_1_0",
          .method = "triggerDataUser",
          .arguments = {{"state", state}, {"flag", false}}};
}

BusCall getStatus() {
  return {.path = "/otn/Trelvik/diagnostics", .interface = "otn.OBdiagnostics_1_0", .method = "getStatus"};
}

BusCall getRedundantState() {
  return {.service = "otn.redundancyManager",
          .path = "/otn/redundancyManager/redundant_state_signal",
          .interface = "otn.OBredundantInfo_1_0",
          .method = "getRedundantState"};
}

}  // namespace ctl
