#include "OBstub.h"

#include "OBcomponent.h"
#include "OBstubReply.h"
#include "otnbus/Connection.h"
#include "otnbus/Outbox.h"

OBstub::OBstub(OBinterface* service, OBcomponent* component, const OBinterfaceDescription& description)
    : m_service(service), m_description(description) {
  if (component == nullptr) return;
  m_connection = component->connection();
  m_outbox = component->connection()->outbox();
}

OBstub::~OBstub() {
  const std::shared_ptr<otnbus::Connection> connection = m_connection.lock();
  if (connection && m_registrationHandle >= 0) connection->withdraw(m_registrationHandle);
}

bool OBstub::register_synchronous(const char* busInterfaceName) {
  return registerAs(busInterfaceName, false);
}
bool OBstub::register_asynchronous(const char* busInterfaceName) {
  return registerAs(busInterfaceName, false);
}
bool OBstub::register_signal(const char* busInterfaceName) {
  return registerAs(busInterfaceName, true);
}

bool OBstub::registerAs(const char* busInterfaceName, bool receiver) {
  const std::shared_ptr<otnbus::Connection> connection = m_connection.lock();
  if (!connection || m_registrationHandle >= 0) return false;
  m_registrationHandle = receiver ? connection->receive(this, m_description, busInterfaceName)
                                  : connection->offer(this, m_description, busInterfaceName);
  if (m_registrationHandle < 0) return false;
  m_busInterfaceName = busInterfaceName;
  m_path = "/otn/" + connection->component() + "/" + m_busInterfaceName;
  return true;
}

void OBstub::send_reply(OBstubReply* reply, std::initializer_list<OBvalue> results) {
  if (reply == nullptr) return;
  reply->m_outbox->postReply(reply->m_call, results);
  delete reply;
}

void OBstub::send_signal(const char* member, std::initializer_list<OBvalue> arguments) {
  if (m_path.empty()) return;
  m_outbox->postSignal(m_path, otnbus::interfaceName(m_description), member, arguments);
}

bool OBstub::query(const char* member, OBvalue& result) {
  const std::shared_ptr<otnbus::Connection> connection = m_connection.lock();
  return connection && !m_busInterfaceName.empty() &&
         connection->query(m_description, m_busInterfaceName, member, result);
}
