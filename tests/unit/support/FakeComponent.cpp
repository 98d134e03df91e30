// The bus component without a bus: it takes interfaces, and has its kill message as soon as it starts. A
// program that links it uses it in place of the platform's.
#include "OBcomponent.h"
#include "OBinterface.h"

std::atomic<OBcomponent*> OBcomponent::static_obc{nullptr};

OBcomponent::OBcomponent(const char* name, const ExtraCfg*) : m_name(name) {}

OBcomponent::~OBcomponent() = default;

void OBcomponent::add_interface(OBinterface* interface) {
  interface->register_interface(this);
  interface->register_notifications(this);
  interface->register_clients(this);
}

void OBcomponent::start(int) {}

void OBcomponent::sendKillMsgToSelf() {}
