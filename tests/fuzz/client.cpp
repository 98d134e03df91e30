// What the operator's client reads: files that may be captures, dumps or records, and values of its command
// line.
#include <algorithm>

#include "base/Node.h"
#include "base/Values.h"
#include "fuzz/Input.h"
#include "fuzz/Record.h"
#include "fuzz/json.h"
#include "ops/Records.h"

namespace {

void checkPieces(const ctl::DecodedInput& decoded) {
  must(isPrintableLine(decoded.what), "what it was taken for is printable");
  for (const ctl::Piece& piece : decoded.pieces) {
    must(isPrintableLine(piece.line), "a piece is one printable line", [&] { return readable(piece.line); });
    must(isJson(toJson(piece.node)), "and JSON", [&] { return readable(toJson(piece.node)); });
    const std::string text = toText(piece.node, false);
    must(text.ends_with('\n'), "and text of whole lines");
    for (const char c : text) must(c == '\n' || (c >= ' ' && c <= '~'), "which are printable");
  }
}

void anyFile(Input& input) {
  const std::string file(input.rest());
  const ctl::DecodedInput decoded = ctl::decodeInput(file);
  must(decoded.pieces.empty() == file.empty(), "a file that is not empty shows something");
  checkPieces(decoded);
}

/// A dump as xxd, hexdump -C or a plain list prints it.
std::string dumped(std::string_view bytes, uint8_t how) {
  constexpr size_t row = 16;
  std::string text;
  char piece[16];
  for (size_t at = 0; at < bytes.size(); at += row) {
    const std::string_view part = bytes.substr(at, row);
    if (how % 3 == 0)
      text += std::string(piece, static_cast<size_t>(snprintf(piece, sizeof piece, "%08zx:", at)));
    if (how % 3 == 1)
      text += std::string(piece, static_cast<size_t>(snprintf(piece, sizeof piece, "%08zx ", at)));
    for (size_t i = 0; i < part.size(); ++i) {
      const bool pair = how % 3 == 0 && i % 2 == 1;
      snprintf(piece, sizeof piece, "%s%02x", pair ? "" : " ", static_cast<uint8_t>(part[i]));
      text += piece;
    }
    if (how % 3 == 0) text += "  " + std::string(part.size(), '.');
    if (how % 3 == 1) text += "  |" + std::string(part.size(), '.') + '|';
    text += '\n';
  }
  if (how % 3 == 1)
    text += std::string(piece, static_cast<size_t>(snprintf(piece, sizeof piece, "%08zx\n", bytes.size())));
  return text;
}

void dump(Input& input) {
  const uint8_t how = input.byte();
  const std::string bytes(input.rest());
  if (bytes.empty()) return;
  std::string read;
  must(ctl::readHexDump(dumped(bytes, how), read) && read == bytes, "a dump comes back",
       [&] { return dumped(bytes, how) + " as " + readable(read); });
}

void record(Input& input) {
  const OtnIpcMsg made = takeRecord(input);
  const ctl::Node node = ctl::recordNode(made);
  must(isJson(toJson(node)), "a record is JSON");
  checkPieces(ctl::decodeInput(std::string(bytesOf(made))));
}

/// What is refused says so; what is taken is what may be sent.
void checkFault(const ctl::Checked& fault) {
  must(!fault || (fault->text.starts_with("needs ") && isPrintableLine(fault->text)),
       "a value's fault is one printable line", [&] { return readable(fault->text); });
}

void values(Input& input) {
  const std::string word(input.rest());
  uint32_t number = 0;
  const ctl::Checked vlan = ctl::parseNumber(word, ctl::vlanRange, number);
  checkFault(vlan);
  must(vlan || (number >= 1 && number <= 4094), "a VLAN is in its range");
  uint32_t bitmap = 0;
  const ctl::Checked ports = ctl::parsePortList(word, bitmap);
  checkFault(ports);
  must(ports || bitmap >> ctl::lastPort == 0, "ports are those that there are");
  std::string list;
  const ctl::Checked vlans = ctl::parseVlanList(word, list);
  checkFault(vlans);
  must(vlans || (std::ranges::count(list, ',') < 1728 && list == word),
       "VLANs are as many as a message holds");
  uint32_t address = 0;
  const ctl::Checked ip = ctl::parseIpAddress(word, address);
  checkFault(ip);
  must(ip || std::ranges::count(word, '.') == 3, "an address has four numbers");
  std::string pdu;
  uint32_t size = 0;
  const ctl::Checked bytes = ctl::parsePdu(word, pdu, size);
  checkFault(bytes);
  must(bytes || (size >= 1 && size <= 516 && size == 1 + static_cast<size_t>(std::ranges::count(word, ':'))),
       "a PDU is as long as a message holds");
  std::vector<uint32_t> words;
  checkFault(ctl::parseWords(word, words));
  std::chrono::milliseconds time{};
  const ctl::Checked timeout = ctl::parseTimeout(word, time);
  checkFault(timeout);
  must(timeout || (time.count() > 0 && time.count() <= 86'400'000), "a time is within a day");
  must(isPrintableLine(ctl::printable(word)), "others' text is made printable");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* bytes, size_t size) {
  constexpr void (*all[])(Input&) = {anyFile, dump, record, values};
  Input input(bytes, size);
  all[input.byte() % std::size(all)](input);
  return 0;
}
