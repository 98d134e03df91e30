// Forwarding-entry ids of the MSTP rules that ISS holds: one for the LAN rule, a pair for each WAN rule.
//
// Held by SrvIssMgr and used only with the ring's mutex held. Its log lines carry the source SrvIssMgr.
#pragma once

#include <cstdint>
#include <list>

struct MstpWanConfigFpIds {
  int32_t port;  ///< bit index in a port bitmap, 0..27
  int32_t mplsLabel;
  int32_t pwLabel;
  int32_t fpId_0;
  int32_t fpId_1;
};
static_assert(sizeof(MstpWanConfigFpIds) == 20);

class MstpStore {
 public:
  static constexpr int32_t invalidPort = 28;

  /// 0 = there is no LAN rule.
  uint32_t lanFpId() const { return m_lanFpId; }
  void setLanFpId(uint32_t fpId);

  /// Lowest of the bits 0..27 that is set; invalidPort, after an ERROR line, when none is.
  static int32_t extractPortFromPbmp(uint32_t pbmp);

  /// Keeps the ids of the WAN rule (port of pbmp, labels); an entry that exists is left as it is.
  void storeWanFpIds(uint32_t pbmp, int32_t mplsLabel, int32_t pwLabel, int32_t fpId0, int32_t fpId1);
  /// Takes the ids of a WAN rule out of the store. False, outputs unchanged, when there are none.
  bool takeWanFpIds(int32_t port, int32_t mplsLabel, int32_t pwLabel, int32_t& fpId0, int32_t& fpId1);

 private:
  std::list<MstpWanConfigFpIds>::iterator find(int32_t port, int32_t mplsLabel, int32_t pwLabel);

  uint32_t m_lanFpId = 0;
  std::list<MstpWanConfigFpIds> m_wanFpIds;  ///< at most one entry per key, in order of arrival
};
