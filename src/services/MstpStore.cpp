#include "services/MstpStore.h"

#include <sys/types.h>

#include <algorithm>

#include "trace.h"

void MstpStore::setLanFpId(uint32_t fpId) {
  m_lanFpId = fpId;
  if (fpId != 0)
    TRACE(DEBUG3, "SrvIssMgr", 664, "setMstpLanFpId", "MSTP L2 FP ID = %d", static_cast<int>(fpId));
  else
    TRACE(DEBUG3, "SrvIssMgr", 667, "setMstpLanFpId", "Reset MSTP L2 FP ID to 0");
}

int32_t MstpStore::extractPortFromPbmp(uint32_t pbmp) {
  for (int32_t port = 0; port < invalidPort; ++port)
    if ((pbmp >> port & 1U) != 0) return port;
  TRACE(ERROR, "SrvIssMgr", 657, "extractPortFromPbmp", "No port set in pbmp = 0x%x", pbmp);
  return invalidPort;
}

std::list<MstpWanConfigFpIds>::iterator MstpStore::find(int32_t port, int32_t mplsLabel, int32_t pwLabel) {
  return std::find_if(m_wanFpIds.begin(), m_wanFpIds.end(), [&](const MstpWanConfigFpIds& entry) {
    return entry.port == port && entry.mplsLabel == mplsLabel && entry.pwLabel == pwLabel;
  });
}

void MstpStore::storeWanFpIds(uint32_t pbmp, int32_t mplsLabel, int32_t pwLabel, int32_t fpId0,
                              int32_t fpId1) {
  const int32_t port = extractPortFromPbmp(pbmp);
  TRACE(DEBUG3, "SrvIssMgr", 677, "storeMstpWanConfigFpIds",
        "port=%d (pbmp=0x%x), mplsLabel=%d, pwLabel=%d, fpId_0=%d, fpId_1=%d", port, pbmp, mplsLabel, pwLabel,
        fpId0, fpId1);
  if (port == invalidPort) {
    TRACE(ERROR, "SrvIssMgr", 681, "storeMstpWanConfigFpIds", "Invalid port [%d] [pbmp=0x%x]", port, pbmp);
    return;
  }
  if (find(port, mplsLabel, pwLabel) != m_wanFpIds.end()) {
    TRACE(ERROR, "SrvIssMgr", 689, "storeMstpWanConfigFpIds",
          "port=%d, mplsLabel=%d, pwLabel=%d: unable to store FP IDs: entry already exists", port, mplsLabel,
          pwLabel);
    return;
  }
  m_wanFpIds.push_back({port, mplsLabel, pwLabel, fpId0, fpId1});
  TRACE(DEBUG3, "SrvIssMgr", 695, "storeMstpWanConfigFpIds", "MstpWanConfigFpIds: new list size = %zd",
        static_cast<ssize_t>(m_wanFpIds.size()));
}

bool MstpStore::takeWanFpIds(int32_t port, int32_t mplsLabel, int32_t pwLabel, int32_t& fpId0,
                             int32_t& fpId1) {
  const auto entry = find(port, mplsLabel, pwLabel);
  if (entry == m_wanFpIds.end()) {
    TRACE(ERROR, "SrvIssMgr", 712, "getAndDeleteMstpWanConfigFpIds",
          "port=%d, mplsLabel=%d, pwLabel=%d: no FP IDs exist for this combination", port, mplsLabel,
          pwLabel);
    return false;
  }
  fpId0 = entry->fpId_0;
  fpId1 = entry->fpId_1;
  m_wanFpIds.erase(entry);
  TRACE(DEBUG3, "SrvIssMgr", 707, "getAndDeleteMstpWanConfigFpIds", "MstpWanConfigFpIds: new list size = %zd",
        static_cast<ssize_t>(m_wanFpIds.size()));
  return true;
}
