// What the simulator shows: named tables, written as aligned text or as JSON. Pure data and functions.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace sim {

enum class CellKind : uint8_t {
  text,
  number,
  list,  ///< numbers with "," between them
};

struct Column {
  std::string name;
  CellKind kind = CellKind::text;
};

struct Table {
  std::string name;
  std::vector<Column> columns;
  std::vector<std::vector<std::string>> rows;  ///< a cell for each column; an empty one has no value
};

using View = std::vector<Table>;

/// Columns under their names, numbers to the right; a title above each of several tables. Each cell is one
/// word: a blank in it is shown as "_", no value as "-".
std::string toText(const View& view);

/// {"TABLE": [{"COLUMN": value, ...}, ...], ...} on one line; a cell without value is null.
std::string toJson(const View& view);

/// A JSON string with its quotes. Bytes above ASCII are taken as Latin-1, so that any text gives valid JSON.
std::string jsonText(std::string_view text);

/// A cell as JSON.
std::string jsonCell(std::string_view cell, CellKind kind);

}  // namespace sim
