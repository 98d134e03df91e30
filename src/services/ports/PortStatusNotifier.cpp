#include "services/ports/PortStatusNotifier.h"

#include "OBsetPortParams_1_0_S.h"

void PortStatusNotifier::notifyIssStatus(bool bStatus) {
  m_stub.issStatusChange_signal(bStatus);
}

void PortStatusNotifier::notifyLinkStatus(uint32_t ifIndex, bool bPortAdminStatus,
                                          bool bPortOperationalStatus) {
  m_stub.linkStatusChange_signal(ifIndex, bPortAdminStatus, bPortOperationalStatus);
}
