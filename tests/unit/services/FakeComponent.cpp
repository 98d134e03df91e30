// The bus component without a bus: it only takes interfaces. In this program it stands in for the platform's.
#include "OBcomponent.h"
#include "OBinterface.h"

OBcomponent::OBcomponent(const char* name, const ExtraCfg*) : m_name(name) {}

OBcomponent::~OBcomponent() = default;

void OBcomponent::add_interface(OBinterface* interface) {
  interface->register_interface(this);
  interface->register_notifications(this);
  interface->register_clients(this);
}
