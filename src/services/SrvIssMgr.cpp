#include "services/SrvIssMgr.h"

#include "logAssertFailed.h"

SrvIssMgr* SrvIssMgr::m_pInstance = nullptr;

void SrvIssMgr::createInstance() {
  if (m_pInstance == nullptr) m_pInstance = new SrvIssMgr;
}

void SrvIssMgr::destroyInstance() {
  delete m_pInstance;
  m_pInstance = nullptr;
}

__attribute__((no_sanitize("null"))) SrvIssMgr& SrvIssMgr::getInstance() {
  if (m_pInstance == nullptr)
    logAssertFailed("m_pInstance", "src/services/SrvIssMgr.cpp",
                    "static SrvIssMgr& SrvIssMgr::getInstance()");
  return *m_pInstance;
}
