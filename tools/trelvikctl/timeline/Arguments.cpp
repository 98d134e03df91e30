#include "timeline/Arguments.h"

#include <algorithm>
#include <charconv>

#include "base/Values.h"

namespace ctl {
namespace {

void addPort(uint32_t port, std::vector<uint32_t>& ports) {
  if (port < 1 || port > lastPort || std::ranges::find(ports, port) != ports.end()) return;
  ports.push_back(port);
  std::ranges::sort(ports);
}

/// The number that follows; 0 for none.
uint32_t numberAt(std::string_view text) {
  const int base = text.starts_with("0x") ? 16 : 10;
  if (base == 16) text.remove_prefix(2);
  uint32_t number = 0;
  std::from_chars(text.data(), text.data() + text.size(), number, base);
  return number;
}

void addBitmap(uint32_t bitmap, std::vector<uint32_t>& ports) {
  for (uint32_t port = 1; port <= lastPort; ++port) {
    if ((bitmap >> (port - 1) & 1U) != 0) addPort(port, ports);
  }
}

}  // namespace

std::vector<std::pair<std::string, std::string>> argumentsIn(std::string_view text) {
  constexpr std::string_view ends = ", \n=()";
  std::vector<std::pair<std::string, std::string>> pairs;
  for (size_t at = text.find('='); at != std::string_view::npos; at = text.find('=', at)) {
    std::string_view name = text.substr(0, at);
    name = name.substr(0, name.find_last_not_of(' ') + 1);
    const size_t begin = name.find_last_of(ends);
    if (begin != std::string_view::npos) name.remove_prefix(begin + 1);
    const size_t value = std::min(text.find_first_not_of(' ', at + 1), text.size());
    at = std::min(text.find_first_of(ends, value), text.size());
    pairs.emplace_back(name, text.substr(value, at - value));
    // "0x5=5" says it twice.
    if (at < text.size() && text[at] == '=') at = std::min(text.find_first_of(", \n", at), text.size());
  }
  return pairs;
}

std::string argumentKey(std::string_view text) {
  std::string key;
  for (const auto& [name, value] : argumentsIn(text)) {
    if (name == "dataVfis") break;
    key += value + ' ';
  }
  return key;
}

void addPorts(std::string_view text, std::vector<uint32_t>& ports) {
  // An MRP rule has a port's number where others have a bitmap.
  const bool number = text.starts_with("ruleType=MRP,");
  for (const auto& [name, value] : argumentsIn(text)) {
    if (name == "port" || name == "portNr" || name == "pwPort" || name == "PwPort" ||
        (number && name == "L2Pbmp")) {
      addPort(numberAt(value), ports);
    } else if (name == "L2Pbmp" || name == "MplsPbmp" || name == "pbmp") {
      addBitmap(numberAt(value), ports);
    }
  }
  for (const std::string_view before : {", port ", "/tmp/SetVlanPort", "Interface Num = ", "interfaceNum=",
                                        "interface number: ", ", interface "}) {
    const size_t at = text.find(before);
    if (at != std::string_view::npos) addPort(numberAt(text.substr(at + before.size())), ports);
  }
}

}  // namespace ctl
