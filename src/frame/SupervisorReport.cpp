#include "frame/SupervisorReport.h"

#include <utility>

#include "notifySupervisor.h"
#include "services/diagnostics/statusLine.h"

void SupervisorReport::look(Time now, bool linkChanged) {
  const bool first = !std::exchange(m_begun, true);
  if (!first && !linkChanged && now < m_next) return;
  if (!otn::hasSupervisor()) return;
  otn::notifySupervisor(statusLine(daemonStatus()).c_str());
  m_next = now + interval;
}
