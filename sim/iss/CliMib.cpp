#include <algorithm>
#include <cstdio>
#include <vector>

#include "iss/CliInterpreter.h"

namespace sim {
namespace {

/// "NAME.1" or "NAME.1.2": a MIB object and its index of one or two numbers.
struct MibObject {
  std::string_view name;
  uint32_t index[2] = {0, 0};
  size_t indexes = 0;
};

bool parseObject(std::string_view word, MibObject& object) {
  size_t dot = word.find('.');
  if (dot == 0 || dot == std::string_view::npos) return false;
  object.name = word.substr(0, dot);
  while (dot != std::string_view::npos) {
    word.remove_prefix(dot + 1);
    dot = word.find('.');
    if (object.indexes == 2 || !parseCliNumber(word.substr(0, dot), object.index[object.indexes++])) {
      return false;
    }
  }
  return true;
}

CliRefusal badValue(const char* text) {
  return {CliReason::badArgument, text};
}

CliRefusal noRow(uint32_t index) {
  return {CliReason::missing, "there is no interface row " + std::to_string(index)};
}

bool isRowStatus(uint32_t value) {
  return value == 1 || value == 2 || (value >= 4 && value <= 6);
}

void removeRow(CliConfig& config, uint32_t index) {
  config.rows.erase(index);
  std::erase_if(config.stack, [index](const auto& entry) {
    return entry.first.first == index || entry.first.second == index;
  });
}

CliResult setRowStatus(CliConfig& config, uint32_t index, uint32_t value) {
  if (!isRowStatus(value)) return badValue("no row status");
  const RowStatus status{value};
  const auto found = config.rows.find(index);
  if (status == RowStatus::createAndGo || status == RowStatus::createAndWait) {
    if (found == config.rows.end() && config.rows.size() >= maxRows) {
      return CliRefusal{CliReason::full, "the interface table is full"};
    }
    // A port that is set up again is set up anew.
    InterfaceRow& row = config.rows[index] = {};
    if (status == RowStatus::createAndGo) row.status = RowStatus::active;
    return {};
  }
  if (found == config.rows.end()) return noRow(index);
  if (status == RowStatus::destroy) {
    removeRow(config, index);
    return {};
  }
  if (status == RowStatus::active && found->second.type == 0) {
    return CliRefusal{CliReason::conflict, "the row has no type"};
  }
  found->second.status = status;
  return {};
}

CliResult setStackStatus(CliConfig& config, const MibObject& object, uint32_t value) {
  if (!isRowStatus(value)) return badValue("no row status");
  const RowStatus status{value};
  const std::pair key(object.index[0], object.index[1]);
  for (const uint32_t index : object.index) {
    if (!config.rows.contains(index)) return noRow(index);
  }
  const auto found = config.stack.find(key);
  if (status == RowStatus::createAndGo || status == RowStatus::createAndWait) {
    if (found == config.stack.end() && config.stack.size() >= maxRows) {
      return CliRefusal{CliReason::full, "the stack table is full"};
    }
    config.stack[key] = status == RowStatus::createAndGo ? RowStatus::active : RowStatus::notInService;
    return {};
  }
  if (found == config.stack.end()) {
    return CliRefusal{CliReason::missing, "interface " + std::to_string(key.first) + " is not stacked on " +
                                              std::to_string(key.second)};
  }
  if (status == RowStatus::destroy) {
    config.stack.erase(found);
  } else {
    found->second = status;
  }
  return {};
}

CliResult setColumn(InterfaceRow& row, std::string_view column, std::string_view value) {
  uint32_t number = 0;
  const bool isNumber = parseCliNumber(value, number);
  if (column == "ifAlias") {
    if (!isOctets(value)) return badValue("not a string of octets");
    row.alias.clear();
    for (size_t at = 0; at < value.size(); at += 3) {
      row.alias += static_cast<char>(std::stoi(std::string(value.substr(at, 2)), nullptr, 16));
    }
  } else if (column == "ifIpDestMacAddress") {
    if (!isOctets(value) || value.size() != 17) return badValue("not a MAC address");
    row.ipDestMacAddress = value;
  } else if (column == "ifMainType") {
    if (!isNumber || number == 0) return badValue("no interface type");
    row.type = number;
  } else if (column == "ifIpAddrAllocMethod") {
    if (!isNumber) return badValue("not a number");
    row.ipAddrAllocMethod = number;
  } else if (column == "ifMainAdminStatus") {
    if (!isNumber || (number != 1 && number != 2)) return badValue("no admin status");
    if (row.status != RowStatus::active) return CliRefusal{CliReason::conflict, "the row is not active"};
    row.admin = number == 1;
  } else {
    return badValue("no such MIB object");
  }
  return {};
}

}  // namespace

CliResult setMibObject(CliConfig& config, std::string_view name, std::string_view value) {
  MibObject object;
  if (!parseObject(name, object)) return badValue("not a MIB object with its index");
  uint32_t number = 0;
  const bool isNumber = parseCliNumber(value, number);
  const bool isStack = object.name == "ifStackStatus";
  if (object.indexes != (isStack ? 2 : 1)) return badValue("wrong number of indexes");
  if (isStack) return isNumber ? setStackStatus(config, object, number) : badValue("no row status");
  if (object.name == "ifMainRowStatus") {
    return isNumber ? setRowStatus(config, object.index[0], number) : badValue("no row status");
  }
  const auto row = config.rows.find(object.index[0]);
  if (row == config.rows.end()) {
    InterfaceRow unknown;
    unknown.status = RowStatus::active;
    const CliResult wrong = setColumn(unknown, object.name, value);
    return wrong ? wrong : noRow(object.index[0]);
  }
  return setColumn(row->second, object.name, value);
}

void removeRowsOfVlan(CliConfig& config, uint32_t vlan) {
  char alias[16];
  snprintf(alias, sizeof alias, "vlan%04u", vlan);
  const auto isOfVlan = [&alias](const auto& row) { return row.second.alias == alias; };
  const auto found = std::ranges::find_if(config.rows, isOfVlan);
  if (found == config.rows.end()) return;
  const uint32_t lower = found->first;
  std::vector<uint32_t> above;
  for (const auto& [key, status] : config.stack) {
    if (key.second == lower) above.push_back(key.first);
  }
  for (const uint32_t index : above) removeRow(config, index);
  removeRow(config, lower);
}

}  // namespace sim
