#include "frame/otnThread.h"

#include <chrono>
#include <cstdio>
#include <memory>

#include "TraceObject.h"
#include "boardUtils.h"
#include "frame/OBclientComponent.h"
#include "printable.h"
#include "process/deadline.h"
#include "process/intervals.h"
#include "process/running.h"
#include "process/threadName.h"
#include "services/common/SrvCommon.h"
#include "services/diagnostics/SrvDiagnostics.h"
#include "services/lifecycle/OBOchStub.h"
#include "services/pattern/Workers.h"
#include "services/ports/SrvIss.h"
#include "services/ports/boardMac.h"
#include "services/redundancy/SrvRedundancy.h"
#include "services/rules/SrvIssMgr.h"
#include "services/smartsfp/SrvSmartSfp.h"
#include "services/synce/SrvSyncE.h"

std::atomic<int32_t> otnThreadRunning;

namespace {

constexpr LogPlace atStartOtnComm{"main", "start_otn_comm"};

constexpr int startChecks = 5;
constexpr std::chrono::seconds checkInterval{1};
constexpr int workersStopLimit = 1000;  ///< ms, well within the 2 s that a stop may take

/// The services that live and die with the component.
struct Services {
  explicit Services(DaemonIdentity identity) : diagnostics(std::move(identity)) {}

  SrvCommon common;
  SrvDiagnostics diagnostics;
  SrvSyncE syncE;
  SrvRedundancy redundancy;
};

DaemonIdentity identityOf(bool noAcPort) {
  char mac[sizeof "00:00:00:00:00:00"];
  snprintf(mac, sizeof mac, "%02x:%02x:%02x:%02x:%02x:%02x", macAddr[0], macAddr[1], macAddr[2], macAddr[3],
           macAddr[4], macAddr[5]);
  return {TRELVIK_VERSION, Printable(boardUtils().getName()).c_str(), mac, noAcPort ? "-p" : ""};
}

}  // namespace

bool waitForOtnThread() {
  // By the clock: many short sleeps take longer than their sum.
  auto nextCheck = std::chrono::steady_clock::now();
  for (int check = 0; check < startChecks && otnThreadRunning == 0; ++check) {
    nextCheck += checkInterval;
    while (std::chrono::steady_clock::now() < nextCheck && !(stopRequested() && otnThreadRunning != 0))
      sleepMilliseconds(startCheckInterval);
  }
  return otnThreadRunning != 0;
}

void* start_otn_comm(void* arg) {
  nameThread("tv-bus");
  const bool noAcPort = arg != nullptr && *static_cast<const bool*>(arg);
  LOG(INFO, atStartOtnComm, 673, "OTNBUS thread started\n");

  const OBcomponent::ExtraCfg cfg{nullptr, false};
  auto component = std::make_unique<OBclientComponent>("Trelvik", &cfg);
  auto services = std::make_unique<Services>(identityOf(noAcPort));
  component->add_interface(&services->common);
  component->add_interface(&services->diagnostics);
  SrvIss::createInstance(noAcPort);
  component->add_interface(&SrvIss::getInstance());
  auto ochStub = std::make_unique<OBOchStub>(component.get());
  SrvIssMgr::createInstance();
  component->add_interface(&SrvIssMgr::getInstance());
  component->add_interface(&services->syncE);
  SrvSmartSfp::createInstance();
  component->add_interface(&SrvSmartSfp::getInstance());
  component->add_interface(&services->redundancy);

  otnThreadRunning = 1;
  component->start(0);

  const bool workersEnded = waitForWorkers(workersStopLimit);
  if (workersEnded) {
    dismissWorkers();
    SrvIssMgr::destroyInstance();
  }
  ochStub.reset();
  LOG(DEBUG1, atStartOtnComm, 710, "OTNBUS thread stopped");
  if (!workersEnded) {
    // Workers that still run find their services alive; the process ends under them.
    static_cast<void>(services.release());
    static_cast<void>(component.release());
  }
  return nullptr;
}
