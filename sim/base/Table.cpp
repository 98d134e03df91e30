#include "base/Table.h"

#include <algorithm>
#include <cstdio>

namespace sim {
namespace {

/// A column is one word, so that programs can take lines apart at blanks.
std::string shownCell(std::string cell) {
  std::ranges::replace(cell, ' ', '_');
  return cell.empty() ? "-" : cell;
}

void appendCell(std::string& text, std::string_view cell, const Column& column, size_t width, bool last) {
  const std::string padding(width - cell.size(), ' ');
  if (column.kind == CellKind::number) text += padding;
  text += cell;
  if (last) {
    text += '\n';
    return;
  }
  if (column.kind != CellKind::number) text += padding;
  text += "  ";
}

void appendTable(std::string& text, const Table& table) {
  std::vector<size_t> widths;
  for (size_t i = 0; i < table.columns.size(); ++i) {
    size_t width = table.columns[i].name.size();
    for (const auto& row : table.rows) width = std::max(width, shownCell(row[i]).size());
    widths.push_back(width);
  }
  for (size_t i = 0; i < widths.size(); ++i) {
    appendCell(text, table.columns[i].name, table.columns[i], widths[i], i + 1 == widths.size());
  }
  for (const auto& row : table.rows) {
    for (size_t i = 0; i < widths.size(); ++i) {
      appendCell(text, shownCell(row[i]), table.columns[i], widths[i], i + 1 == widths.size());
    }
  }
}

}  // namespace

std::string toText(const View& view) {
  std::string text;
  for (const Table& table : view) {
    if (view.size() > 1) text += (text.empty() ? "" : "\n") + table.name + ":\n";
    if (table.rows.empty()) {
      text += "(none)\n";
    } else {
      appendTable(text, table);
    }
  }
  return text;
}

std::string jsonText(std::string_view text) {
  std::string json = "\"";
  for (const char c : text) {
    if (c == '"' || c == '\\') {
      json += '\\';
      json += c;
    } else if (c >= ' ' && c <= '~') {
      json += c;
    } else {
      char escape[8];
      snprintf(escape, sizeof escape, "\\u%04x", static_cast<uint8_t>(c));
      json += escape;
    }
  }
  return json + '"';
}

std::string jsonCell(std::string_view cell, CellKind kind) {
  if (kind == CellKind::list) return '[' + std::string(cell) + ']';
  if (cell.empty()) return "null";
  return kind == CellKind::number ? std::string(cell) : jsonText(cell);
}

std::string toJson(const View& view) {
  std::string json = "{";
  for (const Table& table : view) {
    if (json.size() > 1) json += ", ";
    json += jsonText(table.name) + ": [";
    for (const auto& row : table.rows) {
      json += &row == &table.rows.front() ? "{" : ", {";
      for (size_t i = 0; i < row.size(); ++i) {
        if (i > 0) json += ", ";
        json += jsonText(table.columns[i].name) + ": " + jsonCell(row[i], table.columns[i].kind);
      }
      json += '}';
    }
    json += ']';
  }
  return json + "}\n";
}

}  // namespace sim
