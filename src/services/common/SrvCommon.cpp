#include "services/common/SrvCommon.h"

#include "TraceObject.h"
#include "link/Traffic.h"

namespace {

constexpr LogPlace atGetTraceLevel{"SrvCommon", "get_trace_level"};
constexpr LogPlace atSetTraceLevel{"SrvCommon", "set_trace_level"};

constexpr uint32_t highestLevel = 10;

/// A synchronous method is answered when it returns.
void countCall() {
  countArrival(BusInterface::Common);
  countReply(BusInterface::Common);
}

}  // namespace

SrvCommon::~SrvCommon() {
  delete m_pStub;
}

void SrvCommon::register_interface(OBcomponent* component) {
  m_pStub = new OBcommon_1_0_S(this, component);
  m_pStub->register_synchronous("ob_common");
}

void SrvCommon::get_trace_level(int32_t& level) {
  countCall();
  level = 0;
  if (g_traceObject == nullptr || g_traceObject->levelHolder() == nullptr) return;
  level = g_traceObject->levelHolder()->level.load(std::memory_order_relaxed);
  LOG(NOTICE, atGetTraceLevel, 44, "Get trace level [%d]", level);
}

void SrvCommon::set_trace_level(int32_t level) {
  countCall();
  if (g_traceObject == nullptr || g_traceObject->levelHolder() == nullptr) return;
  LOG(NOTICE, atSetTraceLevel, 37, "Set trace level to [%d]", level);
  if (static_cast<uint32_t>(level) <= highestLevel)
    g_traceObject->levelHolder()->level.store(level, std::memory_order_relaxed);
}
