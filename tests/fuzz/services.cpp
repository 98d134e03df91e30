// Texts and numbers that the daemon turns into messages, scripts and settings, each held against a second
// reading of what it must become.
#include <algorithm>
#include <cctype>
#include <cstdlib>
#include <optional>

#include "TraceObject.h"
#include "frame/OutstandingAnswer.h"
#include "frame/deletePersistentIssConfig.h"
#include "fuzz/Input.h"
#include "fuzz/Record.h"
#include "fuzz/log.h"
#include "iss/CliScript.h"
#include "services/ports/PortScript.h"
#include "services/ports/boardMac.h"
#include "services/rules/IssMgrRules.h"
#include "services/smartsfp/SmartSfpMessages.h"

namespace {

/// A text, once or up to 2048 times, of 64 KiB at most: lists are longer than inputs.
std::string takeLongText(Input& input) {
  const size_t times = size_t{1} << input.byte() % 12;
  const std::string_view piece = input.rest();
  std::string text;
  for (size_t i = 0; i < times && text.size() + piece.size() <= 65536; ++i) text += piece;
  return text;
}

/// A number as a stream takes it off a text: blanks, a sign, digits.
std::optional<int32_t> numberFrom(std::string_view& text) {
  while (!text.empty() && isspace(static_cast<uint8_t>(text[0])) != 0) text.remove_prefix(1);
  const bool negative = text.starts_with('-');
  if (negative || text.starts_with('+')) text.remove_prefix(1);
  int64_t value = 0;
  size_t digits = 0;
  while (digits < text.size() && isdigit(static_cast<uint8_t>(text[digits])) != 0) {
    value = std::min<int64_t>(value * 10 + (text[digits] - '0'), int64_t{1} << 40);
    ++digits;
  }
  if (negative) value = -value;
  if (digits == 0 || value < INT32_MIN || value > INT32_MAX) return std::nullopt;
  text.remove_prefix(digits);
  return static_cast<int32_t>(value);
}

void mustBe(const OtnIpcMsg& message, const OtnIpcMsg& wanted, const char* property) {
  const std::string_view got = bytesOf(message);
  const std::string_view expected = bytesOf(wanted);
  must(got == expected, property, [&] {
    const auto place = static_cast<size_t>(std::ranges::mismatch(got, expected).in1 - got.begin());
    return "byte " + std::to_string(place) + " is " + std::to_string(got[place]) + " and not " +
           std::to_string(expected[place]);
  });
}

void vlanList(Input& input) {
  IssMgrArguments arguments{};
  arguments.ruleType = input.byte() % 2 == 0 ? 0 : 4;
  arguments.vlan = input.value();
  arguments.L2Pbmp = input.value();
  arguments.vpn = input.value();
  arguments.dataVfis = takeLongText(input);
  OtnIpcMsg wanted{};
  wanted.msgType = arguments.ruleType == 0 ? ETS_VLAN_MAPPING : MRP_VLAN_MAPPING;
  wanted.payload.vlanMapping.key = arguments.ruleType == 0 ? arguments.vlan : arguments.L2Pbmp;
  wanted.payload.vlanMapping.vpn = arguments.vpn;
  std::string_view text = arguments.dataVfis;
  for (size_t at = 12; at < sizeof wanted; at += 4) {
    const std::optional<int32_t> vlan = numberFrom(text);
    if (!vlan) break;
    memcpy(reinterpret_cast<char*>(&wanted) + at, &*vlan, sizeof *vlan);
    text.remove_prefix(std::min(text.find(','), text.size()));
    if (!text.empty()) text.remove_prefix(1);
  }
  mustBe(vlanMapping(arguments), wanted, "data VLANs follow the header, and nothing else is touched");
}

void pdu(Input& input) {
  SmartSfpArguments arguments{};
  arguments.pbmp = input.value();
  arguments.size = input.value();
  arguments.fpId = static_cast<int32_t>(input.value());
  arguments.pdu = takeLongText(input);
  OtnIpcMsg wanted{};
  wanted.msgType = SMARTSFP_PDU_CMD;
  std::string_view text = arguments.pdu;
  for (uint8_t& byte : wanted.payload.smartSfp.pdu) {
    const std::optional<int32_t> value = numberFrom(text);
    if (!value) break;
    byte = static_cast<uint8_t>(*value);
    if (!text.empty()) text.remove_prefix(1);
  }
  wanted.payload.smartSfp.pbmp = arguments.pbmp;
  wanted.payload.smartSfp.size = arguments.size;
  mustBe(smartSfpPdu(arguments), wanted, "a PDU fills its field, and the ports and the size behind it stay");
}

bool isMac(std::string_view text) {
  size_t parts = 0;
  for (;;) {
    const size_t end = std::min(text.find(':'), text.size());
    if (end < 1 || end > 2) return false;
    for (const char c : text.substr(0, end))
      if (isxdigit(static_cast<uint8_t>(c)) == 0) return false;
    ++parts;
    if (end == text.size()) return parts == 6;
    text.remove_prefix(end + 1);
  }
}

void mac(Input& input) {
  const std::string whole(input.rest());
  const std::string text = whole.c_str();
  memset(macAddr, 0xEE, sizeof macAddr);
  readMacAddress(text.c_str());
  size_t byte = 0;
  for (size_t at = 0; at < text.size() && byte < sizeof macAddr;) {
    const size_t end = std::min(text.find(':', at), text.size());
    if (end > at) {
      const auto value = static_cast<uint8_t>(strtol(text.substr(at, end - at).c_str(), nullptr, 16));
      must(macAddr[byte++] == value, "a MAC address is its tokens, the first six");
    }
    at = end + 1;
  }
  for (; byte < sizeof macAddr; ++byte)
    must(macAddr[byte] == 0xEE, "bytes that the text lacks are left alone");
  must((fuzzLog::counts.warnings == 0) == isMac(text),
       "whoever reads the log learns of a text that is no MAC address");
}

void selection(Input& input) {
  const std::string text(input.rest());
  const IssConfigSelection selected = parseSelection(text);
  must(selected.actionType == text.substr(0, 3), "three characters are the action");
  const std::string behind = text.size() > 4 ? text.substr(4) : "";
  must(behind.starts_with(selected.folder), "the folder stands behind the separator");
  const bool cut = selected.newlineAt != std::string::npos;
  must(cut ? selected.newlineAt == selected.folder.size() && behind[selected.newlineAt] == '\n' &&
                 behind.find('\n', selected.newlineAt + 1) == std::string::npos
           : selected.folder == behind && behind.find('\n') == std::string::npos,
       "it ends in front of the last line feed");
  const std::string onCard = issFolderOnSdCard(selected.folder);
  must(onCard.starts_with("/mnt/mmccard/VORNA_CONFIG") &&
           onCard.size() == 25 + (selected.folder.size() > 6 ? selected.folder.size() - 6 : 0),
       "on the card the mount's name alone is another");
}

size_t lines(std::string_view text) {
  return static_cast<size_t>(std::count(text.begin(), text.end(), '\n'));
}

void mustBeWhole(const PortScript& script, const PortScript& usual) {
  const std::string_view text = script.text();
  must(text.size() < 2047 && text.ends_with("end\n"), "a script has room and ends with its end");
  must(lines(text) == lines(usual.text()), "a script has all its lines, whatever the numbers");
  for (const char c : text) must(c == '\n' || (c >= ' ' && c <= '~'), "a script is printable");
}

void scripts(Input& input) {
  const uint8_t how = input.byte();
  const bool known = (how & 1) != 0;
  PortScriptInput port{input.number<uint32_t>(), 0, input.number<uint32_t>(), (how & 2) != 0};
  if (known) port = {1 + port.portNr % 28, 0, 2 + port.acVlan % 3999, port.noAcPort};
  port.pwVlan = port.portNr + 4000;
  const PortScript setUp = setUpScript(port);
  const PortScript release = releaseScript(port);
  mustBeWhole(setUp, setUpScript({1, 4001, 1, port.noAcPort}));
  mustBeWhole(release, releaseScript({1, 4001, 1, port.noAcPort}));
  if (!known) return;
  sim::CliConfig iss;
  for (const PortScript* script : {&setUp, &setUp, &release, &setUp}) {
    const sim::ScriptResult result = sim::runScript(script->text(), iss);
    must(!result.refused, "ISS's command line takes the script of every front port",
         [&] { return result.refused->text; });
  }
  must(iss.port(port.portNr).pvid == port.pwVlan && iss.port(port.portNr).mtu == sim::maxMtu,
       "a port that is set up has its pseudowire VLAN");
  must(port.noAcPort || (iss.vlans[port.acVlan].members & sim::portBit(24)) != 0,
       "and port 24 its attachment circuit's");
}

void answerLimit(Input& input) {
  const std::string text(std::string(input.rest()).c_str());
  const auto limit = readAnswerLimit(text.c_str()).count();
  must(limit >= 0 && limit <= 86400, "a limit is within a day");
  const bool digits = !text.empty() && text.find_first_not_of("0123456789") == std::string::npos;
  must(limit == 0 || (digits && limit == strtol(text.c_str(), nullptr, 10)),
       "it is the number that is written");
  must((fuzzLog::counts.warnings == 0) == (limit > 0),
       "whoever reads the log learns of a text that gives none");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* bytes, size_t size) {
  constexpr void (*all[])(Input&) = {vlanList, pdu, mac, selection, scripts, answerLimit};
  Input input(bytes, size);
  fuzzLog::begin(trace::DEBUG3);
  all[input.byte() % std::size(all)](input);
  return 0;
}
