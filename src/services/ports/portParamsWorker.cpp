#include <cstdio>
#include <cstring>
#include <new>
#include <string_view>

#include "TraceObject.h"
#include "message/MsgHandle.h"
#include "services/ports/PortMessages.h"
#include "services/ports/PortScript.h"
#include "services/ports/ScriptFile.h"
#include "services/ports/SrvIss.h"
#include "services/ports/boardMac.h"

namespace {

constexpr LogPlace atCreateOPSFile{"SrvIss", "CreateOPSFile"};
constexpr LogPlace worker{"SrvIss", "run_iss_script_thread"};

/// A set-up or release that configures: its script and its mapping.
constexpr int32_t messagesWithScript = 2;
/// Where ISS writes what a script prints; nobody here reads it.
constexpr const char* scriptOutput = "/tmp/outscr.sh";

PortMappingInput mappingOf(const SetPortParamsRequest& request) {
  return {request.portNr, request.pwVlan, request.acVlan, request.bNoAcPort, macAddr};
}

/// The ids of the port's tunnel; zeros for a port that has none.
DcnTunnelEntry tunnelIds(uint32_t portNr) {
  const DcnTunnelEntry* tunnel = dcnTunnelOfPort(portNr);
  return tunnel != nullptr ? *tunnel : DcnTunnelEntry{};
}

SavedArguments save(const SetPortParamsRequest& request) {
  SavedArguments saved{};
  saved.action = request.action;
  saved.ifType = request.ifType;
  saved.portNr = request.portNr;
  saved.ifSpeed = request.ifSpeed;
  saved.bConfigure = request.bConfigure ? 1 : 0;
  saved.acVlan = request.acVlan;
  saved.extra1 = request.extra1;
  saved.extra2 = request.extra2;
  return saved;
}

void replyNow(SetPortParamsRequest& request) {
  request.service->giveReply(std::move(request.reply), save(request));
}

/// Whether ISS runs the script now, or is going to.
bool namedInRing(std::string_view script) REQUIRES(mutex) {
  for (int32_t index = readpointer; index != writepointer; index = nextIndex(index)) {
    const OtnIpcMsg& msg = MsgArray[index].msg;
    if (msg.msgType != RUN_DEFAULT_SCRIPT_COMMAND) continue;
    const auto& name = msg.payload.script.inputFile;
    if (script == std::string_view(name, strnlen(name, sizeof name))) return true;
  }
  return false;
}

}  // namespace

void SrvIss::CreateOPSFile(OtnIpcMsg* msg, PortAction action, const SetPortParamsRequest* request) {
  char inputFile[48];
  snprintf(inputFile, sizeof inputFile, "/tmp/SetVlanPort%d_%d", static_cast<int>(request->portNr),
           static_cast<int>(writepointer));
  // A release's script goes by the index of the message before it, so a ring that begins with it ends at that
  // index. Nothing fits such a ring: the request is going to be refused, and leaves the script as ISS must
  // find it.
  if (admit(writepointer, readpointer, messagesWithScript) != Admission::Fits && namedInRing(inputFile)) {
    new (msg) OtnIpcMsg{};
    return;
  }
  const PortScriptInput input{request->portNr, request->pwVlan, request->acVlan, request->bNoAcPort};
  const PortScript script = action == PortAction::SetUp ? setUpScript(input) : releaseScript(input);
  if (const int error = writeScriptFile(inputFile, script.text()); error != 0) {
    // The zero message is queued all the same: OPS's answer to it shows the failure.
    LOG(ERROR, atCreateOPSFile, HERE, "Unable to create OPS file!!\n");
    LOG(WARNING, atCreateOPSFile, HERE,
        "Script %s not written (%s): ISS gets an empty message in its place\n", inputFile, strerror(error));
    new (msg) OtnIpcMsg{};
    return;
  }
  new (msg) OtnIpcMsg(scriptMessage(inputFile, scriptOutput));
}

void buildPortMessages(const SetPortParamsRequest& request, PortMessageBatch& batch) {
  const auto addScript = [&request, &batch](PortAction action) REQUIRES(mutex) {
    SrvIss::CreateOPSFile(&batch.messages[batch.count++], action, &request);
  };
  switch (static_cast<PortAction>(request.action)) {
    case PortAction::SetUp:
      if (!request.bConfigure) break;
      addScript(PortAction::SetUp);
      batch.add([&request] { return mapMessage(mappingOf(request)); });
      break;
    case PortAction::Release: {
      if (!request.bConfigure) break;
      const DcnTunnelEntry ids = tunnelIds(request.portNr);
      batch.add([&request, &ids] { return unmapMessage(mappingOf(request), ids); });
      LOG(NOTICE, worker, HERE, "ReleasePort: portNr=%d, tunnelId=%d, pwId=%d, vpnId=%d, acId=%d",
          static_cast<int>(request.portNr), static_cast<int>(ids.tunnelId), static_cast<int>(ids.pwId),
          static_cast<int>(ids.vpnId), static_cast<int>(ids.tunnelIndex));
      addScript(PortAction::Release);
      break;
    }
    case PortAction::Probe:
    case PortAction::Detach:
      batch.add([&request] {
        return interfaceMessage(request.portNr, request.ifSpeed, request.ifType,
                                static_cast<PortAction>(request.action) == PortAction::Probe
                                    ? ops::IfcInsertDelete::insert
                                    : ops::IfcInsertDelete::remove);
      });
      break;
    case PortAction::Acknowledge:
      break;
  }
}

namespace {

constexpr TailLines tail{
    .place = worker,
    .behindReader = HERE,
    .aheadOfReader = HERE,
    .signal = HERE,
    .unlock = HERE,
};

struct Texts {
  static void locked() { LOG(DEBUG3, worker, HERE, "mutex lock\n"); }
  static void split(int count) {
    LOG(DEBUG3, worker, HERE, "SetPortParam split up in %d messages to OPS\n", count);
  }
  static void slot(int index) { LOG(DEBUG3, worker, HERE, "message writepointer %d\n", index); }
};

/// False when the request is refused: its caller is answered at once.
bool queue(SetPortParamsRequest& request) REQUIRES(mutex) {
  LOG(DEBUG2, worker, HERE, "Processing Setportparam message!");
  if (request.action < static_cast<uint32_t>(PortAction::SetUp) ||
      request.action > static_cast<uint32_t>(PortAction::Acknowledge)) {
    LOG(WARNING, worker, HERE, "Unknown action request in message");
    replyNow(request);
    return false;
  }
  PortMessageBatch batch;
  buildPortMessages(request, batch);
  if (batch.count == 0) replyNow(request);
  const auto fill = [&request](MsgArrayEntry& slot) noexcept {
    slot.portParamsService = request.service;
    slot.arguments = save(request);
  };
  if (queueBatch(tail, Texts(), batch, MsgSource::PortParams, request.reply, fill)) return true;
  replyNow(request);
  return false;
}

}  // namespace

void run_iss_script_thread(SetPortParamsRequest* argument) {
  const std::unique_ptr<SetPortParamsRequest> request(argument);
  if (withRing(queue, *request)) LOG(DEBUG2, worker, HERE, "stopped");
}
