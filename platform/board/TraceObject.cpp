#include "TraceObject.h"

TraceObject* g_traceObject = nullptr;

TraceObject::TraceObject(const char* name, int level) : m_name(name), m_levelHolder(new LevelHolder{level}) {
  // The name of the executable must not decide under which identity the lines are found.
  if (name != nullptr) openlog(name, 0, LOG_USER);
}

TraceObject::~TraceObject() {
  delete m_levelHolder;
}
