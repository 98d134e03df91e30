#include "services/SrvCommon.h"

#include "trace.h"

namespace {

constexpr uint32_t highestLevel = 10;

}  // namespace

SrvCommon::~SrvCommon() {
  delete m_pStub;
}

void SrvCommon::register_interface(OBcomponent* component) {
  m_pStub = new OBcommon_1_0_S(this, component);
  m_pStub->register_synchronous("ob_common");
}

void SrvCommon::get_trace_level(int32_t& level) {
  level = 0;
  if (g_traceObject == nullptr || g_traceObject->levelHolder() == nullptr) return;
  level = g_traceObject->levelHolder()->level.load(std::memory_order_relaxed);
  TRACE(NOTICE, "SrvCommon", 44, "get_trace_level", "Get trace level [%d]", level);
}

void SrvCommon::set_trace_level(int32_t level) {
  if (g_traceObject == nullptr || g_traceObject->levelHolder() == nullptr) return;
  TRACE(NOTICE, "SrvCommon", 37, "set_trace_level", "Set trace level to [%d]", level);
  if (static_cast<uint32_t>(level) <= highestLevel)
    g_traceObject->levelHolder()->level.store(level, std::memory_order_relaxed);
}
