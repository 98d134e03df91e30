#include "control/Show.h"

#include <algorithm>
#include <cstdio>
#include <initializer_list>
#include <span>

#include "RedundancyState.h"
#include "base/Words.h"
#include "record/OpsDecoder.h"

namespace sim {
namespace {

constexpr CellKind number = CellKind::number;
constexpr CellKind list = CellKind::list;

template <typename T>
std::string text(T value) {
  return std::to_string(value);
}

const char* upOrDown(bool up) {
  return up ? "up" : "down";
}

std::string portList(uint32_t bitmap) {
  std::string ports;
  for (uint32_t port = 1; port <= portCount; ++port) {
    if ((bitmap & portBit(port)) != 0) ports += (ports.empty() ? "" : ",") + text(port);
  }
  return ports;
}

const char* nameOf(RowStatus status) {
  switch (status) {
    case RowStatus::active:
      return "active";
    case RowStatus::notInService:
      return "notInService";
    case RowStatus::createAndGo:
      return "createAndGo";
    case RowStatus::createAndWait:
      return "createAndWait";
    case RowStatus::destroy:
      return "destroy";
  }
  return "";
}

/// A table with a row a record: the type's fields of these names, in this order.
class RecordTable {
 public:
  RecordTable(std::string name, uint32_t type, std::initializer_list<std::string_view> fieldNames)
      : m_table{std::move(name), {}, {}} {
    for (const std::string_view fieldName : fieldNames) {
      const auto all = ops::fieldsOf(type);
      const auto found = std::ranges::find(all, fieldName, &ops::FieldInfo::name);
      if (found != all.end()) addColumn(*found);
    }
  }

  void add(const OtnIpcMsg& record) {
    std::vector<std::string> row;
    for (const ops::FieldInfo& field : m_fields) row.push_back(decodeField(record, field));
    m_table.rows.push_back(std::move(row));
  }

  template <typename Kept>
  void add(Kept ops::Payload::*member, const Kept& kept) {
    OtnIpcMsg record{};
    record.payload.*member = kept;
    add(record);
  }

  template <typename Kept>
  void add(Kept ops::Payload::*member, const std::optional<Kept>& kept) {
    if (kept) add(member, *kept);
  }

  Table take() { return std::move(m_table); }

 private:
  void addColumn(const ops::FieldInfo& field) {
    const bool isNumber = field.kind == ops::FieldKind::number || field.kind == ops::FieldKind::signedNumber;
    m_fields.push_back(field);
    m_table.columns.push_back({field.name, isNumber ? number : CellKind::text});
  }

  std::vector<ops::FieldInfo> m_fields;
  Table m_table;
};

Table rules(const char* name, const IssModel& model, uint32_t entryKind) {
  RecordTable table(
      name, INTERESTED_PACKET_IND,
      {"fpId0", "fpId1", "entryKind", "encapType", "ruleWord", "entryCount", "portList", "entries"});
  for (const auto& [id, rule] : model.forwardingEntries()) {
    if (entryKind == 0 || rule.entryKind == entryKind) table.add(&ops::Payload::rule, rule);
  }
  return table.take();
}

View vlans(const IssModel& model) {
  Table vlans{"vlans", {{"vlan", number}, {"members", list}, {"untagged", list}}, {}};
  for (const auto& [id, vlan] : model.config().vlans) {
    vlans.rows.push_back({text(id), portList(vlan.members), portList(vlan.untagged)});
  }
  Table mappings{"mappings", {{"kind"}, {"key", number}, {"vpn", number}, {"dataVlans", list}}, {}};
  const auto addMappings = [&mappings](const char* kind, const std::map<uint32_t, VlanMap>& maps) {
    for (const auto& [key, map] : maps) {
      std::string dataVlans;
      for (const int32_t vlan : map.dataVlans) dataVlans += (dataVlans.empty() ? "" : ",") + text(vlan);
      mappings.rows.push_back({kind, text(key), text(map.vpn), std::move(dataVlans)});
    }
  };
  addMappings("ETS", model.etsVlans());
  addMappings("MRP", model.mrpVlans());
  return {std::move(vlans), std::move(mappings)};
}

View ports(const IssModel& model, uint32_t wanted) {
  const CliConfig& config = model.config();
  Table table{
      "ports",
      {{"port", number}, {"name"}, {"admin"}, {"oper"}, {"mtu", number}, {"pvid", number}, {"vlans", list}},
      {}};
  for (uint32_t id = 1; id <= portCount; ++id) {
    if ((wanted & portBit(id)) == 0) continue;
    const Port& port = config.port(id);
    std::string memberOf;
    for (const auto& [vlanId, vlan] : config.vlans) {
      if ((vlan.members & portBit(id)) != 0) memberOf += (memberOf.empty() ? "" : ",") + text(vlanId);
    }
    table.rows.push_back({text(id), portName(id), upOrDown(port.admin), upOrDown(port.operational()),
                          text(port.mtu), text(port.pvid), std::move(memberOf)});
  }
  return {std::move(table)};
}

View interfaces(const IssModel& model) {
  const CliConfig& config = model.config();
  RecordTable inserted("interfaces", IFC_INSERT_DELETE_IND,
                       {"interfaceNum", "interfaceSpeed", "interfaceType"});
  for (const auto& [id, entry] : model.interfaces()) {
    ops::IfcInsertDelete ifc{};
    ifc.entry = entry;
    inserted.add(&ops::Payload::ifc, ifc);
  }
  Table vlanInterfaces{"vlanInterfaces", {{"vlan", number}, {"admin"}}, {}};
  for (const auto& [vlan, interface] : config.vlanInterfaces) {
    vlanInterfaces.rows.push_back({text(vlan), upOrDown(interface.admin)});
  }
  Table rows{"rows",
             {{"index", number},
              {"status"},
              {"type", number},
              {"admin"},
              {"alias"},
              {"ipAddrAllocMethod", number},
              {"ipDestMacAddress"}},
             {}};
  for (const auto& [index, row] : config.rows) {
    rows.rows.push_back({text(index), nameOf(row.status), text(row.type), upOrDown(row.admin),
                         row.alias.empty() ? "" : quoted(row.alias), text(row.ipAddrAllocMethod),
                         row.ipDestMacAddress});
  }
  Table stack{"stack", {{"higher", number}, {"lower", number}, {"status"}}, {}};
  for (const auto& [key, status] : config.stack) {
    stack.rows.push_back({text(key.first), text(key.second), nameOf(status)});
  }
  return {inserted.take(), std::move(vlanInterfaces), std::move(rows), std::move(stack)};
}

View tunnels(const IssModel& model) {
  RecordTable table(
      "tunnels", MGMT_INTERFACE_MAPPING_IND,
      {"pwPort", "tunnelId", "vpnId", "tunnelIndex", "pwId", "acVlan", "pwVlan", "acPort", "outTunnelLabel",
       "inTunnelLabel", "destinationMac", "sourceMac", "peakRate", "committedRate"});
  for (const auto& [port, entry] : model.tunnels()) {
    ops::MgmtInterfaceMapping mapping{};
    mapping.entry = entry;
    table.add(&ops::Payload::mapping, mapping);
  }
  return {table.take()};
}

View rulesAndFlushes(const IssModel& model) {
  Table flushes{"flushes", {{"vpn", number}, {"vp", number}, {"count", number}}, {}};
  for (const auto& [place, count] : model.flushes()) {
    flushes.rows.push_back({text(place.first), text(place.second), text(count)});
  }
  return {rules("rules", model, 0), std::move(flushes)};
}

View synce(const IssModel& model) {
  RecordTable clock("clock", SYNCE_CMD, {"enableClk", "slot", "clksrc", "phymode"});
  clock.add(&ops::Payload::synce, model.synce());
  RecordTable pdu("pdu", SYNCE_PDU_CMD, {"pduWord1", "pduWord2", "pduWord3"});
  pdu.add(&ops::Payload::syncePdu, model.syncePdu());
  return {clock.take(), pdu.take(), rules("filters", model, ops::synceRule)};
}

View lldp(const IssModel& model) {
  RecordTable table("lldp", LLDP_TLV_INFO, {"chassisId", "mgmtIp", "slotId", "create"});
  table.add(&ops::Payload::lldp, model.lldp());
  return {table.take()};
}

View smartSfp(const IssModel& model) {
  RecordTable pdu("pdu", SMARTSFP_PDU_CMD, {"pbmp", "size", "pdu"});
  pdu.add(&ops::Payload::smartSfp, model.smartSfpPdu());
  return {rules("filters", model, ops::smartSfpRule), pdu.take()};
}

View redundancy(const IssModel& model) {
  Table table{"redundancy", {{"state", number}, {"name"}}, {}};
  if (const auto state = model.redundancyState()) {
    table.rows.push_back({text(*state), redundancyStateName(*state)});
  }
  return {std::move(table)};
}

View counters(const IssModel& model) {
  RecordTable table("counters", GET_INTERFACE_RECEPTION_AND_TRANSMISSION_COUNTERS,
                    {"interfaceNum", "rxOctets", "rxUnicastPackets", "rxDiscarded", "rxErrors",
                     "rxUnknownProtocol", "txOctets", "txUnicastPackets", "txDiscarded", "txErrors"});
  for (const auto& [id, counted] : model.counters()) table.add(&ops::Payload::counters, counted);
  return {table.take()};
}

std::string milliseconds(double microseconds) {
  char buffer[32];
  snprintf(buffer, sizeof buffer, "%.3f", microseconds / 1000);
  return buffer;
}

View messages(const std::map<uint32_t, MessageCount>& counts) {
  Table table{"messages",
              {{"type", number},
               {"name"},
               {"received", number},
               {"answered", number},
               {"refused", number},
               {"sent", number},
               {"dropped", number},
               {"leastMs", number},
               {"meanMs", number},
               {"mostMs", number}},
              {}};
  for (const auto& [type, count] : counts) {
    std::vector<std::string> row{text(type),           msgTypeName(type),   text(count.received),
                                 text(count.answered), text(count.refused), text(count.sent),
                                 text(count.dropped)};
    if (count.timed == 0) {
      row.resize(table.columns.size());
    } else {
      const auto mean = static_cast<double>(count.total.count()) / static_cast<double>(count.timed);
      row.push_back(milliseconds(static_cast<double>(count.least.count())));
      row.push_back(milliseconds(mean));
      row.push_back(milliseconds(static_cast<double>(count.most.count())));
    }
    table.rows.push_back(std::move(row));
  }
  return {std::move(table)};
}

struct Subject {
  std::string_view name;
  View (*view)(const IssModel&);
};

constexpr Subject subjects[] = {
    {"vlans", vlans},           {"interfaces", interfaces}, {"tunnels", tunnels},
    {"rules", rulesAndFlushes}, {"synce", synce},           {"lldp", lldp},
    {"smartsfp", smartSfp},     {"redundancy", redundancy}, {"counters", counters},
};

}  // namespace

std::optional<View> show(std::string_view subject, const IssModel& model,
                         const std::map<uint32_t, MessageCount>& counts, uint32_t wantedPorts) {
  if (subject == "messages") return messages(counts);
  if (subject == "ports") return ports(model, wantedPorts);
  const auto found = std::ranges::find(subjects, subject, &Subject::name);
  if (found == std::end(subjects)) return {};
  return found->view(model);
}

}  // namespace sim
