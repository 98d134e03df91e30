#include <cstdio>
#include <iterator>

#include "Reference.h"

namespace reference {
namespace {

std::string quoted(const char* text) {
  std::string out = "\"";
  for (; *text != '\0'; ++text) {
    const auto byte = static_cast<unsigned char>(*text);
    if (byte < ' ') {
      char escape[7];
      snprintf(escape, sizeof escape, "\\u%04x", static_cast<unsigned>(byte));
      out += escape;
      continue;
    }
    if (*text == '"' || *text == '\\') out += '\\';
    out += *text;
  }
  return out + '"';
}

/// The elements, as `one` writes each, on a line of their own.
template <typename Elements, typename One>
std::string list(const Elements& elements, const std::string& indent, One one) {
  std::string out = "[";
  const char* separator = "\n";
  for (const auto& element : elements) {
    out += separator + indent + "  " + one(element);
    separator = ",\n";
  }
  return std::size(elements) == 0 ? "[]" : out + '\n' + indent + ']';
}

/// A value of null stands for every other one.
std::string value(const ops::ValueName& value) {
  const std::string number = value.value == ops::anyOther ? "null" : std::to_string(value.value);
  return "{\"value\": " + number + ", \"name\": " + quoted(value.name) + '}';
}

std::string field(const ops::FieldInfo& field, const std::string& indent) {
  return "{\"name\": " + quoted(field.name) + ", \"offset\": " + std::to_string(field.offset) +
         ", \"size\": " + std::to_string(field.size) + ", \"kind\": " + quoted(kindText(field.kind).name) +
         ", \"meaning\": " + quoted(field.meaning) + ", \"unit\": " + quoted(field.unit) +
         ", \"values\": " + list(field.values, indent, value) + '}';
}

std::string fields(std::span<const ops::FieldInfo> all, const std::string& indent) {
  return list(all, indent, [&indent](const ops::FieldInfo& one) { return field(one, indent + "  "); });
}

std::string type(const ops::MessageInfo& message) {
  return "{\"number\": " + std::to_string(message.type) + ", \"name\": " + quoted(msgTypeName(message.type)) +
         ", \"direction\": " + quoted(directionName(message.direction)) +
         ", \"isAnswer\": " + (message.isAnswer ? "true" : "false") +
         ", \"partner\": " + quoted(message.partner) + ", \"meaning\": " + quoted(message.meaning) +
         ", \"fields\": " + fields(message.fields, "    ") + '}';
}

}  // namespace

std::string json(Messages messages) {
  return "{\n  \"recordSize\": " + std::to_string(sizeof(OtnIpcMsg)) +
         ",\n  \"types\": " + list(messages, "  ", type) +
         ",\n  \"trailer\": " + fields(ops::trailerFields, "  ") +
         ",\n  \"filterEntry\": " + fields(ops::filterEntryFields, "  ") + "\n}\n";
}

}  // namespace reference
