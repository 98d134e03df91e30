// The simulated ISS: its command line with any commands, and its answers to any requests. What is refused
// changes nothing, and the switch stays one that could be: untagged members are members, an MTU is in range,
// a port's VLAN is there.
#include <algorithm>
#include <cctype>
#include <set>

#include "fuzz/Input.h"
#include "fuzz/Record.h"
#include "iss/CliInterpreter.h"
#include "iss/CliScript.h"
#include "iss/IssModel.h"

namespace {

/// All that the command line can change, as bytes to compare.
std::string contents(const sim::CliConfig& iss) {
  std::string text;
  const auto add = [&text](auto... values) {
    const uint32_t words[] = {static_cast<uint32_t>(values)...};
    text.append(reinterpret_cast<const char*>(words), sizeof words);
  };
  for (const sim::Port& port : iss.ports) add(port.admin, port.link, port.mtu, port.pvid);
  for (const auto& [number, vlan] : iss.vlans) add(number, vlan.members, vlan.untagged);
  for (const auto& [number, interface] : iss.vlanInterfaces) add(number, interface.admin);
  for (const auto& [index, row] : iss.rows) {
    add(index, row.status, row.type, row.admin, row.ipAddrAllocMethod);
    text += row.alias + '\n' + row.ipDestMacAddress + '\n';
  }
  for (const auto& [key, status] : iss.stack) add(key.first, key.second, status);
  for (const sim::PortState& change : iss.portChanges) add(change.port, change.admin, change.operational);
  return text;
}

void checkSwitch(const sim::CliConfig& iss) {
  must(iss.vlans.contains(sim::defaultVlan), "the default VLAN stays");
  for (const sim::Port& port : iss.ports) {
    must(port.mtu >= sim::minMtu && port.mtu <= sim::maxMtu, "an MTU is in range",
         [&] { return std::to_string(port.mtu); });
    must(iss.vlans.contains(port.pvid), "a port's VLAN is there", [&] { return std::to_string(port.pvid); });
  }
  for (const auto& [number, vlan] : iss.vlans) {
    must(number >= 1 && number <= sim::maxVlan, "a VLAN has a VLAN's number");
    must((vlan.members & ~sim::allPorts) == 0, "members are ports");
    must((vlan.untagged & ~vlan.members) == 0, "untagged members are members");
  }
  for (const auto& [number, interface] : iss.vlanInterfaces)
    must(number >= 1 && number <= sim::maxVlan, "a VLAN interface has a VLAN's number");
  must(iss.rows.size() <= sim::maxRows && iss.stack.size() <= sim::maxRows, "tables are bounded");
  for (const auto& [key, status] : iss.stack)
    must(iss.rows.contains(key.first) && iss.rows.contains(key.second), "what is stacked is there");
  must(iss.portChanges.size() <= sim::CliConfig::maxPortChanges, "unreported changes are bounded");
  for (const sim::PortState& change : iss.portChanges)
    must(change.port - 1 < sim::portCount, "a port that there is");
}

/// A MIB object is set to a whole number or to octets.
bool isValue(std::string_view line) {
  line.remove_prefix(std::min(line.find(" value "), line.size() - 7) + 7);
  const std::string_view value = line.substr(0, line.find_last_not_of(' ') + 1);
  const std::string_view word = value.substr(std::min(value.find_first_not_of(' '), value.size()));
  if (word.find_first_not_of("0123456789") == std::string_view::npos) return true;
  for (size_t i = 0; i < word.size(); ++i)
    if (i % 3 == 2 ? word[i] != ':' : isxdigit(static_cast<uint8_t>(word[i])) == 0) return false;
  return true;
}

void commands(Input& input) {
  sim::CliConfig iss;
  sim::CliInterpreter cli(iss);
  std::string before = contents(iss);
  for (int count = 0; count < 64 && !input.atEnd(); ++count) {
    const std::string_view line = input.line();
    const sim::CliMode mode = cli.mode();
    const sim::CliResult refusal = cli.run(line);
    checkSwitch(iss);
    std::string after = contents(iss);
    if (refusal) {
      must(after == before && cli.mode() == mode, "a refused command changes nothing",
           [&] { return readable(line); });
      must(!refusal->text.empty() && isPrintableLine(refusal->text), "a refusal is one printable line",
           [&] { return readable(refusal->text); });
    } else if (after != before && line.find("snmpset") != std::string_view::npos) {
      must(isValue(line), "a value with anything behind it is refused", [&] { return readable(line); });
    }
    must(!cli.prompt().empty(), "there is a prompt");
    before = std::move(after);
  }
}

void script(Input& input) {
  const std::string_view text = input.rest();
  sim::CliConfig iss;
  const sim::ScriptResult result = sim::runScript(text, iss);
  checkSwitch(iss);
  if (!result.refused) {
    must(text.ends_with('\n'), "a script whose last line has no end is refused");
    return;
  }
  const size_t lines = static_cast<size_t>(std::count(text.begin(), text.end(), '\n')) + 1;
  must(result.refused->line >= 1 && result.refused->line <= lines, "a refusal names a line that there is");
  must(isPrintableLine(result.refused->text), "and is one printable line",
       [&] { return readable(result.refused->text); });
}

void checkModel(const sim::IssModel& iss) {
  std::set<uint32_t> ids;
  for (const auto& [id, rule] : iss.forwardingEntries()) {
    must(id == rule.fpId0 && id != 0 && ids.insert(id).second, "an entry has an id of its own");
    must(rule.fpId1 == 0 || ids.insert(rule.fpId1).second, "and so has its second one");
    must(rule.entryCount <= std::size(rule.entries), "an entry's matches fit");
  }
  for (const auto& [port, tunnel] : iss.tunnels())
    must(port == tunnel.pwPort && port - 1 < sim::portCount, "a tunnel is of a port that there is");
  for (const auto* maps : {&iss.etsVlans(), &iss.mrpVlans()}) {
    for (const auto& [key, map] : *maps)
      must(map.dataVlans.size() <= ops::VlanMapping::maxDataVlans, "VLANs fit");
  }
}

void requests(Input& input) {
  sim::IssModel iss;
  for (int count = 0; count < 32 && !input.atEnd(); ++count) {
    const OtnIpcMsg request = takeRecord(input);
    // It would read and write files.
    if (request.msgType == RUN_DEFAULT_SCRIPT_COMMAND) continue;
    std::string notes;
    const OtnIpcMsg answer = iss.answer(request, notes);
    const std::string_view text = fieldText(answer.errorString);
    must(answer.isResponse == 1 && text.ends_with("\r\n"), "an answer says how it went");
    must((text == ops::noError) == (answer.status == 0), "status and text agree");
    must((answer.status == 0) == (answer.errorValue[0] == 0), "a refusal has its area");
    must(isPrintableLine(text.substr(0, text.size() - 2)) && isPrintableLine(notes),
         "and is one printable line");
    const bool emptied = request.msgType == InvalidMsgType;
    must(answer.msgType == (emptied ? RUN_DEFAULT_SCRIPT_COMMAND : request.msgType),
         "an answer is of its request's type");
    checkModel(iss);
    const uint32_t port = input.byte();
    must(iss.setPortOper(port, (port & 32) != 0) == false || port - 1 < sim::portCount, "a link is a port's");
    for (const OtnIpcMsg& report : iss.takeReports())
      must(report.msgType == PORT_STATUS_CHANGE_IND, "what ISS reports is a port");
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* bytes, size_t size) {
  Input input(bytes, size);
  switch (input.byte() % 4) {
    case 0:
      script(input);
      break;
    case 1:
      requests(input);
      break;
    default:
      commands(input);
  }
  return 0;
}
