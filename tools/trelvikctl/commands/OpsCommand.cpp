#include <cstring>
#include <memory>

#include "OtnIpcFields.h"
#include "base/InputFile.h"
#include "base/Values.h"
#include "base/Words.h"
#include "commands/Command.h"
#include "ops/DebugClient.h"
#include "ops/Records.h"
#include "record/OpsDecoder.h"
#include "record/RecordTemplate.h"

namespace ctl {
namespace {

constexpr size_t mostMib = 256;

Outcome decode(Context& context, const std::string& path) {
  std::string bytes;
  Outcome read = readInput(path, mostMib, bytes);
  const DecodedInput input = decodeInput(bytes);
  context.output.progress(path + ": " + std::to_string(bytes.size()) + " bytes, taken for " + input.what);
  for (const Piece& piece : input.pieces) context.output.event(piece.line, piece.node);
  return read;
}

struct SendOptions {
  std::string type;
  std::vector<std::string> fields;
  std::string file;
};

Outcome buildRecord(const SendOptions& options, OtnIpcMsg& record) {
  sim::RecordTemplate message;
  if (!options.file.empty()) {
    if (!options.type.empty()) return usage("ops send takes a TYPE or --file, not both");
    std::string bytes;
    if (Outcome read = readInput(options.file, mostMib, bytes); read.status != Exit::done) return read;
    std::string dumped;
    if (bytes.size() != sizeof record && readHexDump(bytes, dumped)) bytes = dumped;
    if (bytes.size() != sizeof record) {
      return failed(options.file + " has " + std::to_string(bytes.size()) + " bytes: a message has " +
                    std::to_string(sizeof record) + ", raw or as a hex dump");
    }
    memcpy(&record, bytes.data(), sizeof record);
    return {};
  }
  if (options.type.empty()) return usage("ops send needs a TYPE (trelvikctl ops types) or --file");
  if (!sim::parseType(options.type, message.type)) {
    return usage("TYPE needs a message type by name or number (trelvikctl ops types), not " +
                 printable(options.type));
  }
  for (const std::string& field : options.fields) {
    if (const sim::Problem problem = sim::parseField(message.type, field, message.changes)) {
      return usage(*problem + " (fields: trelvikctl ops types " + msgTypeName(message.type) + ')');
    }
  }
  record = message.build();
  return {};
}

/// OPS's answers of such a type are routed; any other keeps the ring waiting.
bool isAnswered(uint32_t type) {
  return type < OtnIpcMsgTypeCount && ops::messages[type].isAnswer;
}

std::string_view bytesOf(const OtnIpcMsg& record) {
  return {reinterpret_cast<const char*>(&record), sizeof record};
}

Outcome send(Context& context, const SendOptions& options) {
  OtnIpcMsg record{};
  if (Outcome built = buildRecord(options, record); built.status != Exit::done) return built;
  Outcome outcome;
  outcome.data.add("message", sim::decodeRecord(record));
  if (context.dryRun) return outcome;
  if (!isAnswered(record.msgType) && !context.force) {
    return usage(
        typeText(record.msgType) +
        " is a type that no answer matches: the daemon would wait for one and send nothing else until it "
        "is restarted, unless TRELVIK_ANSWER_LIMIT is set. --force sends it all the same");
  }
  OtnIpcMsg answer{};
  Outcome exchanged = exchange(record, context.timeoutOr(usualTimeout), answer);
  if (exchanged.status != Exit::done) return exchanged;
  outcome.data.add("answer", sim::decodeRecord(answer));
  if (bytesOf(answer) == bytesOf(record)) {
    outcome.status = Exit::failed;
    outcome.message =
        "the message came back as it was: the daemon's ring is full, or it gave the message up. Try "
        "again once ISS answers (trelvikctl status)";
  } else if (fieldText(answer.errorString) != ops::noError) {
    outcome.status = Exit::failed;
    outcome.message = "ISS refused it: " + sim::quoted(fieldText(answer.errorString));
  }
  return outcome;
}

Outcome types(const std::string& name) {
  Outcome outcome;
  Node rows = Node::list();
  if (name.empty()) {
    for (const ops::MessageInfo& message : ops::messages) {
      rows.add(Node::object()
                   .add("number", static_cast<uint32_t>(message.type))
                   .add("type", msgTypeName(message.type))
                   .add("answered", message.isAnswer)
                   .add("meaning", message.meaning));
    }
    outcome.data.add("types", std::move(rows));
    return outcome;
  }
  uint32_t type = 0;
  if (!sim::parseType(name, type)) {
    return usage("TYPE needs a message type by name or number, not " + printable(name));
  }
  for (const ops::FieldInfo& field : ops::fieldsOf(type)) {
    rows.add(Node::object()
                 .add("field", field.name)
                 .add("offset", field.offset)
                 .add("size", field.size)
                 .add("meaning", field.meaning));
  }
  if (rows.empty()) outcome.message = std::string(msgTypeName(type)) + " has no fields";
  outcome.data.add("fields", std::move(rows));
  return outcome;
}

}  // namespace

void addOps(Command root) {
  std::vector<std::string> typeNames(std::begin(OtnIpcMsgTypeStrings), std::end(OtnIpcMsgTypeStrings));
  Command opsCommand = root.sub("ops", "messages of ISS's endpoint OPS, by hand");
  Command sendCommand = opsCommand.sub("send", "sends one through the debug socket and shows ISS's answer");
  auto options = std::make_shared<SendOptions>();
  sendCommand.text("TYPE", options->type, "type, by name or number", Need::optional, typeNames);
  sendCommand.texts("FIELD", options->fields, "name=value of the type's fields, or @offset=hex");
  sendCommand.text("--file", options->file, "a whole message, raw or as a hex dump; - is standard input");
  sendCommand.run([options](Context& context) { return send(context, *options); });

  Command decodeCommand = opsCommand.sub("decode", "shows what is in a capture, a hex dump or raw messages");
  auto path = std::make_shared<std::string>();
  decodeCommand.text("FILE", *path, "- is standard input", Need::required);
  decodeCommand.run([path](Context& context) { return decode(context, *path); });

  Command typesCommand = opsCommand.sub("types", "the message types, or the fields of one");
  auto type = std::make_shared<std::string>();
  typesCommand.text("TYPE", *type, "by name or number", Need::optional, typeNames);
  typesCommand.run([type](Context&) { return types(*type); });
}

}  // namespace ctl
