// One record, read by all who read records: classification, dump, the ids out of answers, and the simulator's
// decoder and stream. Whatever stands in it, the dump is bounded, the ids go where they belong, and the
// decoder shows it all.
#include <optional>

#include "PortBitmap.h"
#include "frame/answerIds.h"
#include "frame/opsMessage.h"
#include "fuzz/Input.h"
#include "fuzz/Record.h"
#include "fuzz/log.h"
#include "message/MsgHandle.h"
#include "printable.h"
#include "record/OpsDecoder.h"
#include "record/RecordStream.h"
#include "services/ports/DcnTunnel.h"
#include "services/rules/SrvIssMgr.h"
#include "services/smartsfp/SrvSmartSfp.h"

namespace {

/// Only what tells messages apart.
OtnIpcMsg essence(const OtnIpcMsg& record) {
  OtnIpcMsg bare{};
  bare.msgType = record.msgType;
  if (record.msgType == RUN_DEFAULT_SCRIPT_COMMAND) {
    memcpy(bare.payload.script.inputFile, record.payload.script.inputFile,
           sizeof bare.payload.script.inputFile);
  } else {
    bare.payload.msrReload.reloadStatus = record.payload.msrReload.reloadStatus;
  }
  return bare;
}

void classifyIt(const OtnIpcMsg& record) {
  const OpsMessage kind = classify(record);
  must(kind == classify(essence(record)), "type, script and reload status alone say what a message is");
  must(kind != OpsMessage::Answer || IsReplyPacket(record), "an answer is of a type that answers");
  must(kind != OpsMessage::Unexpected || !IsReplyPacket(record), "no answer is unexpected");
  must(IsOpsError(record) == (fieldText(record.errorString) != "No Error\r\n"),
       "one text alone is OPS's success");
  must(!GetThreadName(record).empty() || record.errorString[0] == '\0',
       "a thread's name is what stands there");
  must(GetThreadName(record).size() <= sizeof record.errorString, "a thread's name ends with its field");
}

void dumpIt(const OtnIpcMsg& record) {
  constexpr size_t mostLines = 3 * ops::MgmtInterfaceMapping::maxEntries + 6;
  const size_t before = fuzzLog::counts.lines;
  const OtnIpcMsg copy = record;
  must(printPacket(copy) == 0, "a dump always succeeds");
  must(bytesOf(copy) == bytesOf(record), "a dump changes nothing");
  must(fuzzLog::counts.lines - before <= mostLines, "a dump is bounded",
       [&] { return std::to_string(fuzzLog::counts.lines - before) + " lines"; });
  must(fuzzLog::counts.longest <= 1024, "its lines are bounded");
}

void storeTunnel(const OtnIpcMsg& record) {
  const ops::TunnelEntry& entry = record.payload.mapping.entry;
  memset(dcnTunnel, 0x5A, sizeof dcnTunnel);
  StoreDcnTunnelIds(record);
  for (uint32_t port = 1; port <= dcnTunnelPorts; ++port) {
    const DcnTunnelEntry& tunnel = dcnTunnel[port - 1];
    const DcnTunnelEntry kept =
        port == entry.pwPort ? DcnTunnelEntry{entry.tunnelId, entry.vpnId, entry.pwId, entry.tunnelIndex}
                             : DcnTunnelEntry{0x5A5A5A5A, 0x5A5A5A5A, 0x5A5A5A5A, 0x5A5A5A5A};
    must(memcmp(&tunnel, &kept, sizeof kept) == 0, "a tunnel's ids are kept for its port and for no other");
  }
}

void storeRuleIds(const OtnIpcMsg& record) {
  const ops::InterestedPacket& rule = record.payload.rule;
  g_EtsFpId = {7, 8, 9};
  StoreEtsFpIds(record);
  const bool mpls = rule.encapType == ops::encapMpls;
  must(g_EtsFpId.l2 == (rule.encapType == ops::encapL2 ? rule.fpId0 : 7), "the ETS id of L2");
  must(g_EtsFpId.mpls0 == (mpls ? rule.fpId0 : 8) && g_EtsFpId.mpls1 == (mpls ? rule.fpId1 : 9),
       "those of MPLS");

  SrvIssMgr::createInstance();
  SrvSmartSfp::createInstance();
  StoreMstFpIds(record);
  const uint32_t ports = portListToBitmap(rule.portList);
  const bool created = rule.actionCode == ops::actionCreate;
  const bool wan = created && mpls && (ports & 0x0FFFFFFFU) != 0;
  must(SrvIssMgr::getInstance().mstpLanFpId() == (created && rule.encapType == ops::encapL2 ? rule.fpId0 : 0),
       "a LAN rule's id is kept when it was created");
  int32_t labels[2];
  memcpy(labels, reinterpret_cast<const char*>(&record) + ops::mplsLabelEntryOffset, sizeof labels);
  int32_t ids[2] = {};
  const int32_t port = wan ? __builtin_ctz(ports) : 0;
  must(SrvIssMgr::getInstance().getAndDeleteMstpWanConfigFpIds(port, labels[0] >> 12, labels[1] >> 12, ids[0],
                                                               ids[1]) == wan,
       "a WAN rule's ids are kept under the lowest port and the labels");
  must(!wan || (static_cast<uint32_t>(ids[0]) == rule.fpId0 && static_cast<uint32_t>(ids[1]) == rule.fpId1),
       "and are those of the answer");
  const bool isRule = record.msgType == INTERESTED_PACKET_IND;
  must(ParseFpIdandPorts(record) == (isRule ? ports : record.payload.smartSfp.pbmp),
       "the ports of a Smart SFP answer");
  must(SrvSmartSfp::getInstance().fpId() == (isRule ? static_cast<int32_t>(rule.fpId0) : 0),
       "the Smart SFP id");
  SrvIssMgr::destroyInstance();
  SrvSmartSfp::destroyInstance();

  uint8_t list[4];
  bitmapToPortList(ports, list);
  must(memcmp(list, rule.portList, sizeof list) == 0, "a port list comes back from its bitmap");
}

void decodeIt(const OtnIpcMsg& record, size_t place) {
  const std::string line = sim::decodeRecord(record);
  must(isPrintableLine(line), "a record is one printable line", [&] { return readable(line); });
  must(line.starts_with(std::string(msgTypeName(record.msgType)) + " [" + std::to_string(record.msgType) +
                        "]"),
       "the line begins with the type");
  // Nothing is hidden: without one of its bytes the record is another line.
  OtnIpcMsg other = record;
  char& byte = reinterpret_cast<char*>(&other)[place];
  if (byte == 0) return;
  byte = 0;
  must(sim::decodeRecord(other) != line, "every byte that is not zero is shown",
       [&] { return "byte " + std::to_string(place) + " of " + line; });
}

/// The record twice and a part of it, in pieces of any size.
void cutIt(const OtnIpcMsg& record, Input& input) {
  const std::string once(bytesOf(record));
  const std::string_view part = std::string_view(once).substr(0, input.number<uint16_t>() % once.size());
  const std::string all = once + once + std::string(part);
  sim::RecordStream stream;
  size_t whole = 0;
  for (size_t at = 0; at < all.size();) {
    const std::span<std::byte> room = stream.room();
    must(!room.empty(), "there is always room");
    const size_t most = size_t{1} + (input.atEnd() ? room.size() : input.number<uint16_t>());
    const size_t count = std::min({most, room.size(), all.size() - at});
    memcpy(room.data(), all.data() + at, count);
    at += count;
    if (!stream.filled(count)) continue;
    ++whole;
    must(bytesOf(stream.record()) == once, "a record comes out of the stream as it went in");
  }
  must(whole == 2 && stream.partial().size() == part.size(), "a stream is cut into records and what is left");
  const std::string line = sim::decodePartialRecord(stream.partial());
  must(isPrintableLine(line), "a part of a record is one printable line", [&] { return readable(line); });
}

void printIt(std::string_view text) {
  const Printable printable(text);
  const std::string_view shown = printable.c_str();
  must(isPrintableLine(shown) && shown.size() <= Printable::limit + 3,
       "others' text in the log is bounded and printable", [&] { return readable(shown); });
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* bytes, size_t size) {
  Input input(bytes, size);
  const uint8_t how = input.byte();
  fuzzLog::begin((how & 1) != 0 ? trace::DEBUG3 : trace::INFO);
  const size_t place = input.number<uint16_t>() % sizeof(OtnIpcMsg);
  const OtnIpcMsg record = takeRecord(input);
  classifyIt(record);
  dumpIt(record);
  storeTunnel(record);
  storeRuleIds(record);
  decodeIt(record, place);
  printIt(fieldText(record.errorString));
  cutIt(record, input);
  return 0;
}
