#include "OBcomponent.h"

#include "OBinterface.h"
#include "board/platformTrace.h"
#include "otnbus/Connection.h"

namespace {

constexpr LogPlace atStart{"otnbus", "start", &platformTrace};

}  // namespace

std::atomic<OBcomponent*> OBcomponent::static_obc{nullptr};

OBcomponent::OBcomponent(const char* name, const ExtraCfg*)
    : m_name(name), m_connection(std::make_shared<otnbus::Connection>(name)) {
  // A stop during the attempts to connect must find the component.
  static_obc = this;
  m_connection->open();
}

OBcomponent::~OBcomponent() {
  static_obc = nullptr;
  m_connection->bus()->close();
}

void OBcomponent::add_interface(OBinterface* interface) {
  interface->register_interface(this);
  interface->register_notifications(this);
  interface->register_clients(this);
}

void OBcomponent::start(int mode) {
  if (mode != 0) {
    LOG(ERROR, atStart, HERE, "Unknown start mode %d", mode);
    return;
  }
  m_connection->run();
}

void OBcomponent::sendKillMsgToSelf() {
  m_connection->kill();
}
