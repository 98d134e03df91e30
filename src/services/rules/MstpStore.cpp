#include "services/rules/MstpStore.h"

#include <sys/types.h>

#include <algorithm>
#include <new>

#include "TraceObject.h"

namespace {

constexpr LogPlace atSetMstpLanFpId{"SrvIssMgr", "setMstpLanFpId"};
constexpr LogPlace atExtractPortFromPbmp{"SrvIssMgr", "extractPortFromPbmp"};
constexpr LogPlace atStoreMstpWanConfigFpIds{"SrvIssMgr", "storeMstpWanConfigFpIds"};
constexpr LogPlace atGetAndDeleteMstpWanConfigFpIds{"SrvIssMgr", "getAndDeleteMstpWanConfigFpIds"};

}  // namespace

void MstpStore::setLanFpId(uint32_t fpId) {
  m_lanFpId = fpId;
  if (fpId != 0) {
    LOG(DEBUG3, atSetMstpLanFpId, 664, "MSTP L2 FP ID = %d", static_cast<int>(fpId));
  } else {
    LOG(DEBUG3, atSetMstpLanFpId, 667, "Reset MSTP L2 FP ID to 0");
  }
}

int32_t MstpStore::extractPortFromPbmp(uint32_t pbmp) {
  for (int32_t port = 0; port < invalidPort; ++port)
    if ((pbmp >> port & 1U) != 0) return port;
  LOG(ERROR, atExtractPortFromPbmp, 657, "No port set in pbmp = 0x%x", pbmp);
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
  LOG(DEBUG3, atStoreMstpWanConfigFpIds, 677,
      "port=%d (pbmp=0x%x), mplsLabel=%d, pwLabel=%d, fpId_0=%d, fpId_1=%d", port, pbmp, mplsLabel, pwLabel,
      fpId0, fpId1);
  if (port == invalidPort) {
    LOG(ERROR, atStoreMstpWanConfigFpIds, 681, "Invalid port [%d] [pbmp=0x%x]", port, pbmp);
    return;
  }
  if (find(port, mplsLabel, pwLabel) != m_wanFpIds.end()) {
    LOG(ERROR, atStoreMstpWanConfigFpIds, 689,
        "port=%d, mplsLabel=%d, pwLabel=%d: unable to store FP IDs: entry already exists", port, mplsLabel,
        pwLabel);
    return;
  }
  try {
    m_wanFpIds.push_back({port, mplsLabel, pwLabel, fpId0, fpId1});
  } catch (const std::bad_alloc&) {
    LOG(ERROR, atStoreMstpWanConfigFpIds, HERE,
        "port=%d, mplsLabel=%d, pwLabel=%d: no memory to store FP IDs: the rule cannot be deleted by its "
        "port "
        "and labels",
        port, mplsLabel, pwLabel);
    return;
  }
  LOG(DEBUG3, atStoreMstpWanConfigFpIds, 695, "MstpWanConfigFpIds: new list size = %zd",
      static_cast<ssize_t>(m_wanFpIds.size()));
}

bool MstpStore::takeWanFpIds(int32_t port, int32_t mplsLabel, int32_t pwLabel, int32_t& fpId0,
                             int32_t& fpId1) {
  const auto entry = find(port, mplsLabel, pwLabel);
  if (entry == m_wanFpIds.end()) {
    LOG(ERROR, atGetAndDeleteMstpWanConfigFpIds, 712,
        "port=%d, mplsLabel=%d, pwLabel=%d: no FP IDs exist for this combination", port, mplsLabel, pwLabel);
    return false;
  }
  fpId0 = entry->fpId_0;
  fpId1 = entry->fpId_1;
  m_wanFpIds.erase(entry);
  LOG(DEBUG3, atGetAndDeleteMstpWanConfigFpIds, 707, "MstpWanConfigFpIds: new list size = %zd",
      static_cast<ssize_t>(m_wanFpIds.size()));
  return true;
}
