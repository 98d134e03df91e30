// ISS manager rules. A process-wide singleton, because OPS's answers bring it the ids of its MSTP rules.
#pragma once

#include <cstdint>

#include "services/MstpStore.h"

class SrvIssMgr {
 public:
  static void createInstance();
  static void destroyInstance();
  /// Reports a failed assertion when there is no instance.
  static SrvIssMgr& getInstance();

  // The MSTP rules' ids; with the ring's mutex held.
  uint32_t mstpLanFpId() const { return m_mstp.lanFpId(); }
  void setMstpLanFpId(uint32_t fpId) { m_mstp.setLanFpId(fpId); }
  static int32_t extractPortFromPbmp(uint32_t pbmp) { return MstpStore::extractPortFromPbmp(pbmp); }
  void storeMstpWanConfigFpIds(uint32_t pbmp, int32_t mplsLabel, int32_t pwLabel, int32_t fpId0,
                               int32_t fpId1) {
    m_mstp.storeWanFpIds(pbmp, mplsLabel, pwLabel, fpId0, fpId1);
  }
  bool getAndDeleteMstpWanConfigFpIds(int32_t port, int32_t mplsLabel, int32_t pwLabel, int32_t& fpId0,
                                      int32_t& fpId1) {
    return m_mstp.takeWanFpIds(port, mplsLabel, pwLabel, fpId0, fpId1);
  }

 private:
  static SrvIssMgr* m_pInstance;
  MstpStore m_mstp;
};
