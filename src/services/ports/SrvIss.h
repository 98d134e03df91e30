// Port parameters: set up, release, probe and detach network-processor ports; and the status notifications.
//
// A process-wide singleton, created by the bus thread and never destroyed at stop. setPortParams runs on the
// bus thread, the two notifications on the main thread, everything else on workers.
#pragma once

#include "OBsetPortParams_1_0_S.h"
#include "OBsetPortParams_1_0_SI.h"
#include "OtnIpcMsg.h"
#include "services/pattern/ServicePattern.h"
#include "services/pattern/Singleton.h"
#include "services/ports/PortStatusNotifier.h"

class SrvIss;

enum class PortAction : uint32_t { SetUp = 1, Release = 2, Probe = 3, Detach = 4, Acknowledge = 5 };

struct SetPortParamsRequest {
  static constexpr BusInterface busInterface = BusInterface::PortParams;
  SrvIss* service;
  ReplyOwner reply;
  uint32_t action;  ///< PortAction, any value
  uint32_t ifType;
  uint32_t portNr;  ///< front port, from 1
  uint32_t pwVlan;
  uint32_t ifSpeed;
  bool bConfigure;
  uint32_t acVlan;
  uint32_t extra1;  ///< this and extra2 are only handed back
  uint32_t extra2;
  bool bNoAcPort;
};
static_assert(sizeof(void*) != 4 || sizeof(SetPortParamsRequest) == 48);

class SrvIss : public OBsetPortParams_1_0_SI, public Singleton<SrvIss> {
 public:
  static constexpr const char* instanceSource = "src/services/ports/SrvIss.cpp";
  static constexpr const char* instanceFunction = "static SrvIss& SrvIss::getInstance()";

  void register_interface(OBcomponent* component) override;
  void register_notifications(OBcomponent* component) override;

  void setPortParams(OBstubReply* reply, uint32_t action, uint32_t ifType, uint32_t portNr, uint32_t ifSpeed,
                     bool bConfigure, uint32_t acVlan, uint32_t extra1, uint32_t extra2) override;
  using OBsetPortParams_1_0_SI::setPortParams;

  /// Answers a call: its arguments go back as they are. Releases `reply` without a stub. Any thread.
  void giveReply(ReplyOwner reply, const SavedArguments& saved);

  virtual void sendIssStatusChange(bool bStatus);
  virtual void sendLinkStatusChange(uint32_t ifIndex, bool bPortAdminStatus, bool bPortOperationalStatus);

  /// Writes the action's script file, named after the port and the ring's write index, and makes `msg` the
  /// message that runs it; `msg` stays all zero when the file cannot be written, and when the ring, which has
  /// no room for the request, holds a message that runs the file.
  static void CreateOPSFile(OtnIpcMsg* msg, PortAction action, const SetPortParamsRequest* request)
      REQUIRES(mutex);

  /// Null until the interface is registered.
  OBsetPortParams_1_0_S* stub() const { return m_pStub; }

 private:
  friend class Singleton<SrvIss>;
  explicit SrvIss(bool bNoAcPort) : m_bNoAcPort(bNoAcPort) {}
  ~SrvIss() override;

  OBsetPortParams_1_0_S* m_pStub = nullptr;
  PortStatusNotifier* m_pPortStatusNotifier = nullptr;
  bool m_bNoAcPort;
};

/// The messages of a request, in their order; none for an action that sends nothing.
using PortMessageBatch = MessageBatch<2>;
/// Adds them to an empty batch.
void buildPortMessages(const SetPortParamsRequest& request, PortMessageBatch& batch) REQUIRES(mutex);

/// Worker; owns the request.
void run_iss_script_thread(SetPortParamsRequest* request);
