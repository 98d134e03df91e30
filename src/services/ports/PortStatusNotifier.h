// Tells the bus when ISS becomes ready and when a port's status changes.
//
// Created by SrvIss once its stub is registered; called by the main thread. Sending never waits for the bus.
#pragma once

#include <cstdint>

class OBsetPortParams_1_0_S;

class PortStatusNotifier {
 public:
  /// `stub` sends the signals and must outlive this object.
  explicit PortStatusNotifier(OBsetPortParams_1_0_S& stub) : m_stub(stub) {}

  /// Signal issStatusChange.
  void notifyIssStatus(bool bStatus);
  /// Signal linkStatusChange.
  void notifyLinkStatus(uint32_t ifIndex, bool bPortAdminStatus, bool bPortOperationalStatus);

 private:
  OBsetPortParams_1_0_S& m_stub;
};
