#include "frame/answerIds.h"

#include <cstring>

#include "PortBitmap.h"
#include "TraceObject.h"
#include "services/ports/DcnTunnel.h"
#include "services/rules/SrvIssMgr.h"
#include "services/smartsfp/SrvSmartSfp.h"

namespace {

constexpr LogPlace atStoreDcnTunnelIds{"MsgHandle", "StoreDcnTunnelIds"};
constexpr LogPlace atStoreEtsFpIds{"MsgHandle", "StoreEtsFpIds"};
constexpr LogPlace atStoreMstFpIds{"MsgHandle", "StoreMstFpIds"};
constexpr LogPlace atGetFpIds{"MsgHandle", "GetFpIds"};
constexpr LogPlace atParseFpIdandPorts{"MsgHandle", "ParseFpIdandPorts"};

}  // namespace

EtsFpIds g_EtsFpId;

bool StoreDcnTunnelIds(const OtnIpcMsg& msg) {
  const ops::TunnelEntry& entry = msg.payload.mapping.entry;
  LOG(DEBUG3, atStoreDcnTunnelIds, 253, "store DCN tunnels port: %d", static_cast<int>(entry.pwPort));
  if (DcnTunnelEntry* tunnel = dcnTunnelOfPort(entry.pwPort))
    *tunnel = {entry.tunnelId, entry.vpnId, entry.pwId, entry.tunnelIndex};
  return true;
}

// A removal's answer overwrites the ids just the same.
bool StoreEtsFpIds(const OtnIpcMsg& msg) {
  const ops::InterestedPacket& rule = msg.payload.rule;
  switch (rule.encapType) {
    case ops::encapL2:
      g_EtsFpId.l2 = rule.fpId0;
      LOG(DEBUG3, atStoreEtsFpIds, 277, "ETS Fp ID: %d for L2 EncapType", static_cast<int>(rule.fpId0));
      break;
    case ops::encapL3:
      LOG(DEBUG3, atStoreEtsFpIds, 280, "No storage done for ETS Fp ID for L3 EncapType");
      break;
    case ops::encapMpls:
      g_EtsFpId.mpls0 = rule.fpId0;
      g_EtsFpId.mpls1 = rule.fpId1;
      LOG(DEBUG3, atStoreEtsFpIds, 285, "ETS Fp ID0: %d for MPLS EncapType", static_cast<int>(rule.fpId0));
      LOG(DEBUG3, atStoreEtsFpIds, 286, "ETS Fp ID1: %d for MPLS EncapType", static_cast<int>(rule.fpId1));
      break;
    default:
      LOG(DEBUG3, atStoreEtsFpIds, 289, "ETS Fp ID not set wrong EncapType ");
  }
  return true;
}

namespace {

/// The label of a label stack entry: the word, taken as signed, without its lower 12 bits.
int32_t labelAt(const OtnIpcMsg& msg, size_t offset) {
  int32_t word = 0;
  memcpy(&word, reinterpret_cast<const uint8_t*>(&msg) + offset, sizeof word);
  return word >> 12;
}

void storeMstpWanIds(const OtnIpcMsg& msg) {
  const ops::InterestedPacket& rule = msg.payload.rule;
  const uint32_t pbmp = portListToBitmap(rule.portList);
  const int32_t mplsLabel = labelAt(msg, ops::mplsLabelEntryOffset);
  const int32_t pwLabel = labelAt(msg, ops::pwLabelEntryOffset);
  LOG(DEBUG2, atStoreMstFpIds, 343,
      "**** mpls=0x%x, pw=0x%x, portList: 0x%02x 0x%02x 0x%02x 0x%02x => pbmp=0x%x ****",
      static_cast<unsigned>(mplsLabel), static_cast<unsigned>(pwLabel), rule.portList[0], rule.portList[1],
      rule.portList[2], rule.portList[3], pbmp);
  SrvIssMgr::getInstance().storeMstpWanConfigFpIds(pbmp, mplsLabel, pwLabel, static_cast<int32_t>(rule.fpId0),
                                                   static_cast<int32_t>(rule.fpId1));
}

}  // namespace

bool StoreMstFpIds(const OtnIpcMsg& msg) {
  const ops::InterestedPacket& rule = msg.payload.rule;
  const bool created = rule.actionCode == ops::actionCreate;
  switch (rule.encapType) {
    case ops::encapL3:
      LOG(DEBUG3, atStoreMstFpIds, 321, "No storage done for MST Fp ID for L3 EncapType");
      break;
    case ops::encapMpls:
      if (created) storeMstpWanIds(msg);
      break;
    case ops::encapL2:
      if (created) SrvIssMgr::getInstance().setMstpLanFpId(rule.fpId0);
      break;
    default:
      LOG(DEBUG3, atStoreMstFpIds, 353, "MST Fp ID not set wrong EncapType ");
  }
  return true;
}

void GetFpIds(const OtnIpcMsg& msg, std::pair<int32_t, int32_t>& ids) {
  const ops::InterestedPacket& rule = msg.payload.rule;
  ids = {static_cast<int32_t>(rule.fpId0), static_cast<int32_t>(rule.fpId1)};
  LOG(DEBUG3, atGetFpIds, 362, "Returning FPIDs=%d,%d", ids.first, ids.second);
}

uint32_t ParseFpIdandPorts(const OtnIpcMsg& msg) {
  if (msg.msgType != INTERESTED_PACKET_IND) return msg.payload.smartSfp.pbmp;
  const ops::InterestedPacket& rule = msg.payload.rule;
  SrvSmartSfp::getInstance().setFpId(static_cast<int32_t>(rule.fpId0));
  const uint32_t pbmp = portListToBitmap(rule.portList);
  LOG(DEBUG3, atParseFpIdandPorts, 414, "**** portList: 0x%02x 0x%02x 0x%02x 0x%02x => pbmp=0x%x ****",
      rule.portList[0], rule.portList[1], rule.portList[2], rule.portList[3], pbmp);
  return pbmp;
}
