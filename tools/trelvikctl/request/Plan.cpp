#include "request/Plan.h"

#include <cstdio>

#include "record/OpsDecoder.h"

namespace ctl {
namespace {

/// The record's bytes in hex, without the zeros at its end.
std::string hex(const OtnIpcMsg& record) {
  const auto* bytes = reinterpret_cast<const uint8_t*>(&record);
  size_t size = sizeof record;
  while (size > 0 && bytes[size - 1] == 0) --size;
  std::string text;
  for (size_t i = 0; i < size; ++i) {
    char byte[3];
    snprintf(byte, sizeof byte, "%02x", bytes[i]);
    text += byte;
  }
  return text;
}

}  // namespace

Node toNode(const Plan& plan) {
  Node node = Node::object();
  node.add("call", busctlLine(plan.call)).add("arguments", toNode(plan.call.arguments));
  Node messages = Node::list();
  for (const PlannedMessage& message : plan.messages) {
    Node one = Node::object();
    one.add("type", msgTypeName(message.record.msgType)).add("decoded", sim::decodeRecord(message.record));
    one.add("bytes", hex(message.record)).add("filledIn", message.filledIn);
    messages.add(std::move(one));
  }
  node.add("messages", std::move(messages));
  if (!plan.whyNoAnswer.empty()) node.add("noAnswer", plan.whyNoAnswer);
  return node;
}

std::string toText(const Plan& plan) {
  std::string text = busctlLine(plan.call) + '\n';
  for (const BusArgument& argument : plan.call.arguments) {
    text += "  " + argument.name + '=' + printable(toNode(argument.value).text()) + '\n';
  }
  for (const PlannedMessage& message : plan.messages) {
    text += sim::decodeRecord(message.record) + '\n';
    if (!message.filledIn.empty()) text += "  the daemon fills in " + message.filledIn + '\n';
  }
  if (!plan.whyNoAnswer.empty()) text += "no answer will come: " + plan.whyNoAnswer + '\n';
  return text;
}

}  // namespace ctl
