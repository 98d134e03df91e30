#include "services/SrvSmartSfp.h"

#include "logAssertFailed.h"
#include "trace.h"

SrvSmartSfp* SrvSmartSfp::m_pInstance = nullptr;

void SrvSmartSfp::createInstance() {
  if (m_pInstance == nullptr) m_pInstance = new SrvSmartSfp;
}

void SrvSmartSfp::destroyInstance() {
  delete m_pInstance;
  m_pInstance = nullptr;
}

__attribute__((no_sanitize("null"))) SrvSmartSfp& SrvSmartSfp::getInstance() {
  if (m_pInstance == nullptr)
    logAssertFailed("m_pInstance", "src/services/SrvSmartSfp.cpp",
                    "static SrvSmartSfp& SrvSmartSfp::getInstance()");
  return *m_pInstance;
}

void SrvSmartSfp::setFpId(int32_t id) {
  m_fpId = id;
  TRACE(INFO, "SrvSmartSfp", __LINE__, "setFpId", "smartSfp ID = %d", id);
}
