#include "services/lifecycle/OBOchStub.h"

#include <pthread.h>

#include <cstring>
#include <filesystem>
#include <string>
#include <system_error>

#include "OBcomponent.h"
#include "OBstubReply.h"
#include "TraceObject.h"
#include "executeCommand.h"
#include "link/Traffic.h"
#include "process/deadline.h"
#include "process/intervals.h"
#include "process/running.h"

namespace {

constexpr LogPlace worker{"SrvIss", "run_och_thread"};
constexpr LogPlace atOBOchStub{"SrvIss", "OBOchStub"};
constexpr LogPlace atDestructor{"SrvIss", "~OBOchStub"};
constexpr LogPlace atRegisterInterface{"SrvIss", "register_interface"};
constexpr LogPlace atTriggerDataUser{"SrvIss", "triggerDataUser"};

constexpr const char* startCommand = "screen -d -m /etc/rc.d/issStartScript.sh start";
constexpr const char* stopCommand = "screen -d -m /etc/rc.d/issStartScript.sh stop";
constexpr long pollInterval = 1000;  ///< ms between two looks at the marker file

/// ISS creates it when its start is complete and removes it when it stops.
const std::string& markerFile() {
  static const std::string path = "/tmp/initIssDone";
  return path;
}

/// Waits for the next look at the marker file. False when the process is to stop.
bool waitForNextLook() {
  for (long waited = 0; waited < pollInterval; waited += stopCheckInterval) {
    if (stopRequested()) return false;
    sleepMilliseconds(stopCheckInterval);
  }
  return !stopRequested();
}

bool run(const char* command) {
  return otn::executeCommand(command, true, nullptr, nullptr, true);
}

void logUnhandled(int32_t state) {
  if (static_cast<DataUserState>(state) == DataUserState::INITIALIZED) {
    LOG(DEBUG1, worker, HERE, "%s is not handled", dataUserStateName(state));
  } else {
    LOG(ERROR, worker, HERE, "%s(%d) is not supported", dataUserStateName(state), state);
  }
}

bool issStarted() {
  std::error_code error;
  const std::filesystem::file_status status = std::filesystem::status(markerFile(), error);
  if (!std::filesystem::exists(status)) return false;
  if (error) {
    // GCOV_EXCL_START: what exists has an error only when its size is beyond the system's numbers
    LOG(DEBUG1, worker, HERE, "Waiting for init ISS done '%s': %s", markerFile().c_str(),
        error.message().c_str());
    // GCOV_EXCL_STOP
  }
  return true;
}

bool issStopped() {
  std::error_code error;
  return !std::filesystem::exists(std::filesystem::status(markerFile(), error));
}

/// One look after the wait; true when the trigger is over.
bool finished(int32_t state) {
  switch (static_cast<DataUserState>(state)) {
    case DataUserState::STARTED:
      return issStarted();
    case DataUserState::STOPPED:
      return issStopped();
    default:
      logUnhandled(state);
      return true;
  }
}

bool act(int32_t state) {
  switch (static_cast<DataUserState>(state)) {
    case DataUserState::STARTED:
      return run(startCommand);
    case DataUserState::STOPPED:
      return run(stopCommand);
    default:
      logUnhandled(state);
      return true;
  }
}

}  // namespace

const char* dataUserStateName(int32_t state) {
  switch (static_cast<DataUserState>(state)) {
    case DataUserState::INITIALIZED:
      return "INITIALIZED";
    case DataUserState::STARTED:
      return "STARTED";
    case DataUserState::STOPPED:
      return "STOPPED";
  }
  return "INVALID";
}

OBOchStub::OBOchStub(OBcomponent* component) {
  LOG(DEBUG1, atOBOchStub, HERE, "OBOchStub called");
  component->add_interface(this);
}

OBOchStub::~OBOchStub() {
  LOG(DEBUG1, atDestructor, HERE, "~OBOchStub called");
  delete m_pStub;
}

void OBOchStub::register_interface(OBcomponent* component) {
  LOG(DEBUG1, atRegisterInterface, HERE, "OBOchStub::register_interface called");
  m_pStub = new OBOchTriggerTrelvik_1_0_S(this, component);
  m_pStub->register_asynchronous("TrelvikOchTriggerAsync");
}

void OBOchStub::triggerDataUser(OBstubReply* reply, int32_t state, bool) {
  LOG(DEBUG1, atTriggerDataUser, HERE, "%s", dataUserStateName(state));
  countArrival(BusInterface::LifeCycle);
  OchTriggerRequest request{state, reply, m_pStub};
  pthread_t thread;
  const int error = pthread_create(&thread, nullptr, run_och_thread, &request);
  if (error == 0) {
    pthread_join(thread, nullptr);
  } else {
    LOG(ERROR, atTriggerDataUser, HERE, "Failed to create thread: %s", strerror(error));
    OBstubReply::release(reply);
  }
}

void* run_och_thread(void* argument) {
  const auto* request = static_cast<const OchTriggerRequest*>(argument);
  if (request == nullptr) {
    LOG(ERROR, worker, HERE, "Incoming parameters are invalid");
    return nullptr;
  }
  LOG(DEBUG1, worker, HERE, "%s", dataUserStateName(request->state));
  const bool result = act(request->state);
  do {
    if (!waitForNextLook()) {
      OBstubReply::release(request->reply);
      return nullptr;
    }
  } while (!finished(request->state));
  countReply(BusInterface::LifeCycle);
  request->stub->triggerDataUser_reply(request->reply, request->state, result);
  return nullptr;
}
