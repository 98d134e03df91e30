#include "base/Node.h"

#include <algorithm>
#include <cstdio>

#include "base/Table.h"

namespace ctl {
namespace {

/// A value in one word or sentence.
std::string cell(const Node& node) {
  switch (node.kind()) {
    case Node::Kind::none:
      return "-";
    case Node::Kind::boolean:
      return node.text() == "true" ? "yes" : "no";
    case Node::Kind::list: {
      std::string text;
      for (const Node& value : node.values()) text += (text.empty() ? "" : ",") + cell(value);
      return text.empty() ? "-" : text;
    }
    default:
      return printable(node.text());
  }
}

std::string padded(std::string text, size_t width) {
  if (text.size() < width) text.append(width - text.size(), ' ');
  return text;
}

bool isTable(const Node& node) {
  return node.kind() == Node::Kind::list && !node.empty() &&
         node.values().front().kind() == Node::Kind::object;
}

/// Every row has the columns of the first.
void appendTable(std::string& text, const Node& table, bool colour) {
  const std::vector<std::string>& columns = table.values().front().names();
  std::vector<size_t> widths;
  widths.reserve(columns.size());
  for (const std::string& column : columns) widths.push_back(column.size());
  for (const Node& row : table.values()) {
    for (size_t i = 0; i < widths.size(); ++i) widths[i] = std::max(widths[i], cell(row.values()[i]).size());
  }
  const auto appendRow = [&](auto cellOf) {
    for (size_t i = 0; i < widths.size(); ++i) text += (i > 0 ? "  " : "") + cellOf(i, widths[i]);
    text.erase(text.find_last_not_of(' ') + 1);
    text += '\n';
  };
  appendRow([&](size_t i, size_t width) { return padded(columns[i], width); });
  for (const Node& row : table.values()) {
    appendRow([&](size_t i, size_t width) {
      const Node& value = row.values()[i];
      return coloured(padded(cell(value), width), value.mark(), colour);
    });
  }
}

void appendObject(std::string& text, const Node& object, const std::string& indent, bool colour) {
  size_t width = 0;
  for (size_t i = 0; i < object.names().size(); ++i) {
    const Node& value = object.values()[i];
    if (!isTable(value) && value.kind() != Node::Kind::object) {
      width = std::max(width, object.names()[i].size());
    }
  }
  for (size_t i = 0; i < object.names().size(); ++i) {
    const Node& value = object.values()[i];
    if (isTable(value)) {
      text += (text.empty() ? "" : "\n") + object.names()[i] + ":\n";
      appendTable(text, value, colour);
    } else if (value.kind() == Node::Kind::object) {
      text += indent + object.names()[i] + ":\n";
      appendObject(text, value, indent + "  ", colour);
    } else {
      text += indent + padded(object.names()[i], width) + "  " + coloured(cell(value), value.mark(), colour);
      text += '\n';
    }
  }
}

}  // namespace

std::string toJson(const Node& node) {
  switch (node.kind()) {
    case Node::Kind::none:
      return "null";
    case Node::Kind::boolean:
    case Node::Kind::number:
      return node.text();
    case Node::Kind::text:
      return sim::jsonText(node.text());
    case Node::Kind::list:
    case Node::Kind::object:
      break;
  }
  const bool object = node.kind() == Node::Kind::object;
  std::string json(1, object ? '{' : '[');
  for (size_t i = 0; i < node.values().size(); ++i) {
    if (i > 0) json += ", ";
    if (object) json += sim::jsonText(node.names()[i]) + ": ";
    json += toJson(node.values()[i]);
  }
  return json + (object ? '}' : ']');
}

std::string toText(const Node& node, bool colour) {
  std::string text;
  if (isTable(node)) {
    appendTable(text, node, colour);
  } else if (node.kind() == Node::Kind::object) {
    appendObject(text, node, "", colour);
  } else {
    text = coloured(cell(node), node.mark(), colour) + '\n';
  }
  return text;
}

std::string printable(const std::string& text) {
  std::string shown;
  for (const char c : text) {
    if (c >= ' ' && c <= '~') {
      shown += c;
    } else {
      char escape[5];
      snprintf(escape, sizeof escape, "\\x%02x", static_cast<uint8_t>(c));
      shown += escape;
    }
  }
  return shown;
}

std::string coloured(const std::string& text, Mark mark, bool colour) {
  if (!colour || mark == Mark::none) return text;
  const char* code = mark == Mark::good ? "32" : mark == Mark::bad ? "31" : "33";
  return "\x1b[" + std::string(code) + 'm' + text + "\x1b[0m";
}

}  // namespace ctl
