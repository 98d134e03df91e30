// Smart SFP filters. A process-wide singleton, because OPS's answers bring it the id of its rule.
#pragma once

#include <cstdint>

#include "link/Relaxed.h"

class SrvSmartSfp {
 public:
  static void createInstance();
  static void destroyInstance();
  /// Reports a failed assertion when there is no instance.
  static SrvSmartSfp& getInstance();

  /// Main thread. The forwarding-entry id of the Smart SFP filter; 0 = no filter installed.
  void setFpId(int32_t id);
  int32_t fpId() const { return m_fpId; }

 private:
  static SrvSmartSfp* m_pInstance;
  Relaxed<int32_t> m_fpId;
};
