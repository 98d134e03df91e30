#include "services/ports/SrvIss.h"

#include <cstring>

#include "TraceObject.h"

namespace {

constexpr LogPlace atSetPortParams{"SrvIss", "setPortParams"};
constexpr LogPlace atSendIssStatusChange{"SrvIss", "sendIssStatusChange"};
constexpr LogPlace atSendLinkStatusChange{"SrvIss", "sendLinkStatusChange"};

constexpr uint32_t pwVlanBase = 4000;

const char* upDown(bool up) {
  return up ? "UP" : "DOWN";
}

}  // namespace

SrvIss::~SrvIss() {
  delete m_pPortStatusNotifier;
  delete m_pStub;
}

void SrvIss::register_interface(OBcomponent* component) {
  m_pStub = new OBsetPortParams_1_0_S(this, component);
  m_pStub->register_asynchronous("IssSetLanWanAsync");
}

void SrvIss::register_notifications(OBcomponent*) {
  m_pPortStatusNotifier = new PortStatusNotifier(*m_pStub);
}

void SrvIss::setPortParams(OBstubReply* reply, uint32_t action, uint32_t ifType, uint32_t portNr,
                           uint32_t ifSpeed, bool bConfigure, uint32_t acVlan, uint32_t extra1,
                           uint32_t extra2) {
  LOG(DEBUG3, atSetPortParams, HERE, "SetPortParam message received over OTNBus\n");
  SetPortParamsRequest request{this,    ReplyOwner(reply), action, ifType, portNr, portNr + pwVlanBase,
                               ifSpeed, bConfigure,        acVlan, extra1, extra2, m_bNoAcPort};
  if (const int error = startWorker<run_iss_script_thread>(std::move(request)); error != 0)
    LOG(ERROR, atSetPortParams, HERE, "Failed to create thread: %s", strerror(error));
}

void SrvIss::giveReply(ReplyOwner reply, const SavedArguments& saved) {
  if (m_pStub == nullptr) return;
  m_pStub->setPortParams_reply(reply.takeToAnswer(SetPortParamsRequest::busInterface), saved.action,
                               saved.ifType, saved.portNr, saved.ifSpeed, saved.bConfigure != 0, saved.acVlan,
                               saved.extra1, saved.extra2);
}

void SrvIss::sendIssStatusChange(bool bStatus) {
  LOG(DEBUG2, atSendIssStatusChange, HERE, "bStatus=%s\n", upDown(bStatus));
  if (m_pPortStatusNotifier != nullptr) m_pPortStatusNotifier->notifyIssStatus(bStatus);
}

void SrvIss::sendLinkStatusChange(uint32_t ifIndex, bool bPortAdminStatus, bool bPortOperationalStatus) {
  LOG(DEBUG2, atSendLinkStatusChange, HERE, "ifIndex=%u,bPortAdminStatus=%s,bPortOperationalStatus=%s\n",
      ifIndex, upDown(bPortAdminStatus), upDown(bPortOperationalStatus));
  if (m_pPortStatusNotifier != nullptr)
    m_pPortStatusNotifier->notifyLinkStatus(ifIndex, bPortAdminStatus, bPortOperationalStatus);
}
